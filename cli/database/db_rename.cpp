#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/store/packing.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/text.hpp"

#include <cstdio>

namespace saddlefit::cli {

namespace {

struct RenameOptions : DbOptions {
    std::string which;
    std::string name;
};

int rename(const RenameOptions &options) {
    const FileLock lock(options.database, IfMissing::lockNothing,
                        reportingOfWait(options.database));
    const Catalogue catalogue(options.database);
    const auto position = positionOf(options.which, catalogue);
    const auto before = catalogue.at(position).record.name;
    renameRecord(options.database, position, options.name);
    if (options.json) {
        printJson({{"file", options.database},
                   {"position", position},
                   {"before", before},
                   {"name", options.name}});
    } else {
        std::printf("%s is %s now, in %s\n", inOneLine(before).c_str(),
                    inOneLine(options.name).c_str(), options.database.c_str());
    }
    return allDone;
}

} // namespace

void addDbRenameCommand(CLI::App &db, Action &chosen) {
    const auto subcommand = addDbSubcommand(db, chosen, "rename", "Rename a record", rename);
    addArgument(subcommand.parser, "RECORD", subcommand.options.which,
                "Its position, as \"saddlefit db list\" prints it, or its name");
    addArgument(subcommand.parser, "NAME", subcommand.options.name, "Its new name");
    subcommand.parser.footer("Records keep their order. A damaged file is left alone.\n\n"
                             "Example:\n"
                             "  saddlefit db rename reactions.db 3 \"SN2, chloride\"");
}

} // namespace saddlefit::cli
