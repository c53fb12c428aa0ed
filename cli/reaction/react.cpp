#include "cli/commands.hpp"
#include "cli/database/database_file.hpp"
#include "cli/files/output_file.hpp"
#include "cli/reaction/sdf.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <optional>

namespace saddlefit::cli {

namespace {

struct ReactOptions {
    ReactionFiles files;
    std::string database;
    std::string output;
    bool verbose = false;
};

void printLine(const Reaction &reaction, const ReactionResult &result) {
    std::printf("%s\t%s\t%s\t%zu constraints\t%zu atoms frozen\n", reaction.title.c_str(),
                result.code.c_str(), describeMatch(result).c_str(), result.constraints.size(),
                result.frozen.size());
}

int react(const ReactOptions &options) {
    requireDatabase(options.database);
    requireOtherFile(options.output, options.database);
    std::optional<OutputFile> output;
    if (!options.output.empty()) output.emplace(options.output);
    std::string structures;
    const int failures = forEachReaction(options.files, [&](const Reaction &reaction) {
        const auto result = runReaction(reaction, options.database, options.verbose);
        if (output) structures += sdfRecord(reaction, result);
        printLine(reaction, result);
    });
    if (!structures.empty()) {
        output->write(structures);
        output->commit();
    }
    return failures == 0 ? allDone : somethingFailed;
}

} // namespace

void addReactCommand(CLI::App &program, Action &chosen) {
    auto *command = program.add_subcommand("react", "Fit stored transition states onto reactions");
    const auto options = std::make_shared<ReactOptions>();
    command->add_option("REACTANTS", options->files.reactants, "File with the reactants")
        ->required()
        ->type_name("");
    command
        ->add_option("PRODUCTS", options->files.products,
                     "File with the products: as many records, the same atoms in the same order")
        ->required()
        ->type_name("");
    command->add_option("--db", options->database, "Database of transition states")
        ->required()
        ->type_name("FILE");
    command
        ->add_option("--start", options->files.geometries,
                     "Begin with this file's coordinates, not the reactants'")
        ->type_name("FILE");
    command->add_option("-o,--output", options->output, "Write the finished structures (SDF)")
        ->type_name("FILE");
    command->add_flag("-v,--verbose", options->verbose,
                      "Show the search's progress on standard error");
    command->footer(
        "Prints a line per reaction, its columns parted by tabs: title, elements of the changed\n"
        "bonds, match, constraints and frozen atoms of the finished structure.\n\n"
        "Example:\n"
        "  saddlefit react reactants.sdf products.sdf --db reactions.db -o guess.sdf");
    command->callback([&chosen, options] { chosen = [options] { return react(*options); }; });
}

} // namespace saddlefit::cli
