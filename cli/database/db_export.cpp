#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "cli/result_file.hpp"
#include "host/upkeep/record_export.hpp"

#include <cstdio>

namespace saddlefit::cli {

namespace {

struct ExportOptions : DbOptions {
    std::vector<std::string> which;
    std::string prefix;
    std::string xyz;
};

std::vector<std::size_t> positionsOf(const ExportOptions &options, const Catalogue &catalogue) {
    std::vector<std::size_t> positions;
    for (const auto &text : options.which)
        positions.push_back(positionOf(text, catalogue));
    for (std::size_t i = 0; options.which.empty() && i < catalogue.count(); ++i)
        positions.push_back(i);
    return positions;
}

void write(const std::string &path, const std::string &text, const std::string &database) {
    requireOtherFile(path, database);
    ResultFile file(path);
    file.write(text);
    file.commit();
}

// The records of all files, of which the one that cannot be made is in none.
struct Exported {
    ReactionRecords records;
    std::string xyz;
    std::size_t count = 0;
    std::size_t failed = 0;

    void add(const Place &origin, const CatalogueEntry &entry) {
        const auto more = reactionRecords(origin, entry);
        records.reactant += more.reactant;
        records.product += more.product;
        records.transitionState += more.transitionState;
        xyz += extendedXyz(entry);
        ++count;
    }
};

Exported exported(const ExportOptions &options) {
    const Catalogue catalogue(options.database);
    Exported all;
    for (const auto position : positionsOf(options, catalogue)) {
        try {
            all.add({options.database, position}, catalogue.at(position));
        } catch (const Error &error) {
            report(error);
            ++all.failed;
        }
    }
    return all;
}

int exportRecords(const ExportOptions &options) {
    if (options.prefix.empty() && options.xyz.empty())
        throw Error("db export: nothing is to be written; give --sdf or --xyz");
    const auto all = exported(options);
    const auto &[reactant, product, transitionState] = all.records;
    if (!options.prefix.empty()) {
        write(options.prefix + "_reactants.sdf", reactant, options.database);
        write(options.prefix + "_products.sdf", product, options.database);
        write(options.prefix + "_ts.sdf", transitionState, options.database);
    }
    if (!options.xyz.empty()) write(options.xyz, all.xyz, options.database);
    const bool isPrinted = options.xyz == standardOutput;
    if (options.json && !isPrinted) {
        printJson({{"file", options.database}, {"exported", all.count}, {"failed", all.failed}});
    } else if (!isPrinted) {
        std::printf("%zu records of %s exported\n", all.count, options.database.c_str());
    }
    return all.failed == 0 ? allDone : somethingFailed;
}

} // namespace

void addDbExportCommand(CLI::App &db, Action &chosen) {
    const auto subcommand =
        addDbSubcommand(db, chosen, "export", "Write records for other programs", exportRecords);
    auto &command = subcommand.parser;
    auto &options = subcommand.options;
    command
        .add_option("RECORD", options.which,
                    "Positions, as \"saddlefit db list\" prints them, or names; default: all")
        ->type_name("");
    command
        .add_option("--sdf", options.prefix,
                    "Write PREFIX_reactants.sdf, PREFIX_products.sdf and PREFIX_ts.sdf, from which "
                    "\"saddlefit db add\" makes the same records")
        ->type_name("PREFIX");
    command.add_option("--xyz", options.xyz, "Write the transition states (extended XYZ)")
        ->type_name("FILE");
    command.footer("Sides that are not known have the transition state's coordinates.\n\n"
                   "Examples:\n"
                   "  saddlefit db export reactions.db --sdf reactions\n"
                   "  saddlefit db export reactions.db 0 3 --xyz two.xyz");
}

} // namespace saddlefit::cli
