#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "cli/result_file.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/statistics.hpp"

#include <cstdio>
#include <filesystem>

namespace saddlefit::cli {

namespace {

constexpr std::size_t mostLines = 10;

struct StatsOptions : DbOptions {
    std::string picture;
};

void printCounts(const char *heading, const Counts &counts) {
    if (counts.empty()) return;
    std::printf("%s\n", heading);
    for (const auto &[word, count] : Statistics::mostFrequent(counts, mostLines))
        std::printf("%7zu\t%s\n", count, inOneLine(word).c_str());
    if (counts.size() > mostLines) std::printf("\tand %zu others\n", counts.size() - mostLines);
}

void print(const Statistics &statistics) {
    std::printf("%zu records, %zu with a side record, %zu refused, %zu damaged\n",
                statistics.records, statistics.known, statistics.refused, statistics.damaged);
    printCounts("changing bonds", statistics.codes);
    printCounts("elements", statistics.elements);
    printCounts("levels", statistics.levels);
    printCounts("families", statistics.families);
    const auto &atoms = statistics.atoms;
    if (!atoms.empty())
        std::printf("%d to %d atoms\n", atoms.begin()->first, atoms.rbegin()->first);
    for (const auto &[low, count] : statistics.barriers)
        std::printf("%7zu\tbarriers of %d to %d kcal/mol\n", count, low, low + 10);
}

Json countsAsJson(const std::map<int, std::size_t> &counts) {
    Json object = Json::object();
    for (const auto &[number, count] : counts)
        object[std::to_string(number)] = count;
    return object;
}

int stats(const StatsOptions &options) {
    const auto statistics = statisticsOf(Catalogue(options.database));
    if (!options.picture.empty()) {
        requireOtherFile(options.picture, options.database);
        const auto title = std::filesystem::path(options.database).filename().string();
        ResultFile file(options.picture);
        file.write(pictureOf(statistics, title));
        file.commit();
    }
    if (options.picture == standardOutput) return allDone;
    if (!options.json) {
        print(statistics);
        return allDone;
    }
    printJson({{"file", options.database},
               {"records", statistics.records},
               {"damaged", statistics.damaged},
               {"known", statistics.known},
               {"refused", statistics.refused},
               {"codes", statistics.codes},
               {"elements", statistics.elements},
               {"levels", statistics.levels},
               {"families", statistics.families},
               {"atoms", countsAsJson(statistics.atoms)},
               {"barriers", countsAsJson(statistics.barriers)}});
    return allDone;
}

} // namespace

void addDbStatsCommand(CLI::App &db, Action &chosen) {
    const auto subcommand =
        addDbSubcommand(db, chosen, "stats", "Count what a database is made of", stats);
    subcommand.parser.add_option("--svg", subcommand.options.picture, "Draw it, as bars (SVG)")
        ->type_name("FILE");
    subcommand.parser.footer("Example:\n"
                             "  saddlefit db stats reactions.db --svg reactions.svg");
}

} // namespace saddlefit::cli
