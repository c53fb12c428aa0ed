#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/reactions/transitions.hpp"
#include "host/store/database_file.hpp"
#include "host/system/text.hpp"

#include <cstdio>

namespace saddlefit::cli {

namespace {

void printLine(std::size_t position, const StoredRecord &record) {
    std::printf("%zu\t%s\t%s\t%zu atoms\t%zu bonds\t%zu transitions\t%zu bytes\n", position,
                inOneLine(record.name).c_str(), codeInSymbols(record.code.data()).c_str(),
                record.atoms.size(), record.bonds.size(), record.transitions.size(), record.bytes);
}

Json entry(std::size_t position, const StoredRecord &record) {
    return {{"position", position},
            {"name", record.name},
            {"code", codeInSymbols(record.code.data())},
            {"atoms", record.atoms.size()},
            {"bonds", record.bonds.size()},
            {"transitions", record.transitions.size()},
            {"bytes", record.bytes}};
}

// A damaged record keeps its position and is reported; the others are listed.
int list(const DbOptions &options) {
    const auto database = openDatabase(options.database);
    Json entries = Json::array();
    int status = allDone;
    for (std::size_t position = 0; position < database.records.size(); ++position) {
        try {
            const auto record = recordAt(database, position);
            if (options.json) entries.push_back(entry(position, record));
            if (!options.json) printLine(position, record);
        } catch (const Error &error) {
            report(error);
            status = somethingFailed;
        }
    }
    if (options.json) printJson({{"file", options.database}, {"records", entries}});
    return status;
}

} // namespace

void addDbListCommand(CLI::App &db, Action &chosen) {
    auto &command =
        addDbSubcommand(db, chosen, "list", "Print a line for each record", list).parser;
    command.footer(
        "The columns, parted by tabs: position, counted from 0; name; elements of the changing\n"
        "bonds; atoms, bonds, transitions and bytes of the record.\n\n"
        "Example:\n"
        "  saddlefit db list reactions.db");
}

} // namespace saddlefit::cli
