#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "host/system/file_lock.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/merging.hpp"

#include <cstdio>

namespace saddlefit::cli {

namespace {

struct MergeOptions : DbOptions {
    std::vector<std::string> others;
};

int merge(const MergeOptions &options) {
    const FileLock lock(options.database, IfMissing::makeIt, reportingOfWait(options.database));
    Merging merging(options.database);
    Json taken = Json::array();
    std::size_t stored = 0, known = 0, damaged = 0;
    for (const auto &other : options.others) {
        const auto counts = merging.take(other);
        for (const auto &damage : counts.damage)
            report(damage);
        taken.push_back({{"file", other},
                         {"stored", counts.stored},
                         {"known", counts.known},
                         {"damaged", counts.damage.size()}});
        stored += counts.stored;
        known += counts.known;
        damaged += counts.damage.size();
    }
    merging.commit();
    if (options.json) {
        printJson({{"file", options.database}, {"merged", taken}});
    } else {
        std::printf("%zu stored in %s, %zu were there already\n", stored, options.database.c_str(),
                    known);
    }
    return damaged == 0 ? allDone : somethingFailed;
}

} // namespace

void addDbMergeCommand(CLI::App &db, Action &chosen) {
    const auto subcommand =
        addDbSubcommand(db, chosen, "merge", "Take in the records of other databases", merge);
    addArgument(subcommand.parser, "OTHER", subcommand.options.others, "Databases to take from");
    subcommand.parser.footer(
        "A transition state that FILE has already, in whatever order, place or mirror image, is\n"
        "left out. What stands beside the others comes along.\n\n"
        "Example:\n"
        "  saddlefit db merge all.db mine.db yours.db");
}

} // namespace saddlefit::cli
