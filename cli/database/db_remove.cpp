#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/store/database_writer.hpp"
#include "host/store/side_file.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/output_file.hpp"

#include <algorithm>
#include <cstdio>

namespace saddlefit::cli {

namespace {

struct RemoveOptions : DbOptions {
    std::vector<std::string> which;
};

std::vector<std::size_t> highestFirst(std::vector<std::size_t> positions) {
    std::sort(positions.rbegin(), positions.rend());
    return positions;
}

void requireDistinct(const std::vector<std::size_t> &sorted, const std::string &path) {
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    if (twice == sorted.end()) return;
    throw Error(ErrorKind::refused, "record " + std::to_string(*twice) +
                                        " is to be removed twice; name each position once, as "
                                        "\"saddlefit db list\" printed it before the removal")
        .at({path});
}

void removeAll(const std::vector<std::size_t> &positions, const std::string &target) {
    const SideLines sides(target);
    requireWholeSideFile(target, sides);
    OutputFile file(target);
    file.copyFromTarget();
    if (!removeRecords(openDatabase(file.path()), positions)) {
        throw Error(ErrorKind::system, "the records cannot be removed; the disk may be full")
            .at({target});
    }
    commitWithSides(file, target, sides);
}

int remove(const RemoveOptions &options) {
    const FileLock lock(options.database, IfMissing::lockNothing,
                        reportingOfWait(options.database));
    const Catalogue catalogue(options.database);
    std::vector<std::size_t> positions;
    for (const auto &text : options.which)
        positions.push_back(positionOf(text, catalogue));
    positions = highestFirst(positions);
    requireDistinct(positions, options.database);
    removeAll(positions, options.database);
    const auto left = catalogue.count() - positions.size();
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
