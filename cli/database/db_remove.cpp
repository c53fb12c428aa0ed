#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/system/file_lock.hpp"
#include "host/upkeep/rewriting.hpp"

#include <algorithm>
#include <cstdio>

namespace saddlefit::cli {

namespace {

struct RemoveOptions : DbOptions {
    std::vector<std::string> which;
};

int remove(const RemoveOptions &options) {
    const FileLock lock(options.database, IfMissing::lockNothing,
                        reportingOfWait(options.database));
    const Catalogue catalogue(options.database);
    std::vector<std::size_t> positions;
    for (const auto &text : options.which)
        positions.push_back(positionOf(text, catalogue));
    std::sort(positions.rbegin(), positions.rend());
    const auto left = removeFrom(options.database, positions);
    if (options.json) {
        printJson({{"file", options.database}, {"removed", positions}, {"records", left}});
        return allDone;
    }
    std::printf("%zu removed from %s, %zu left\n", positions.size(), options.database.c_str(),
                left);
    return allDone;
}

} // namespace

void addDbRemoveCommand(CLI::App &db, Action &chosen) {
    const auto [command, options] = addDbSubcommand(db, chosen, "remove", "Remove records", remove);
    addArgument(command, "RECORD", options.which,
                "Positions, as \"saddlefit db list\" prints them, or names");
    command.footer(
        "All positions mean what was listed before. The file keeps its size: later additions use\n"
        "the room, or \"saddlefit db compact\" gives it back.\n\n"
        "Example:\n"
        "  saddlefit db remove reactions.db 0 3 rxn000123");
}

} // namespace saddlefit::cli
