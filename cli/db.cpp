#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include "cli/commands.hpp"
#include "cli/database_file.hpp"
#include "cli/output_file.hpp"
#include "cli/quiet_stdout.hpp"
#include "cli/reaction_run.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

namespace saddlefit::cli {

namespace {

struct AddOptions {
    std::string database;
    ReactionFiles files;
};

using Code = std::unique_ptr<int, decltype(&std::free)>;

// The transition state is stored with its transition-state bonds, as a search will ask for it.
// Returns the line that says so.
std::string store(const Reaction &reaction, const std::string &database) {
    const HostMolecule mol = buildMolecule(reaction);
    C_startReaction(mol.get(), nullptr);
    const Code code(getTransitionCode(mol.get()), &std::free);
    const auto &name = reaction.geometryTitle;
    const QuietStdout quiet(true); // the block heap's error lines are no result
    if (insertDB(database.c_str(), strdup(name.c_str()), code.get(), mol.get()) == 1) {
        return name + "\t" + codeInSymbols(code.get()) + "\n";
    }
    throw UserError(reaction.reactant.origin +
                    ": the record cannot be stored; it may have more than 65535 atoms or bonds, "
                    "too long a title, or the disk is full");
}

int add(const AddOptions &options) {
    if (std::filesystem::exists(options.database)) requireDatabase(options.database);
    OutputFile file(options.database);
    file.copyFromTarget();
    std::string lines;
    int stored = 0;
    const int failures = forEachReaction(options.files, [&](const Reaction &reaction) {
        lines += store(reaction, file.path());
        ++stored;
    });
    if (stored > 0) file.commit();
    std::printf("%s%d stored in %s\n", lines.c_str(), stored, options.database.c_str());
    return failures == 0 ? allDone : somethingFailed;
}

int list(const std::string &database) {
    requireDatabase(database);
    for (int position = 0; const auto &name : recordNames(database)) {
        std::printf("%d\t%s\n", position++, name.c_str());
    }
    return allDone;
}

void addAddCommand(CLI::App &db, Action &chosen) {
    auto *command = db.add_subcommand("add", "Store transition states; makes a missing file");
    const auto options = std::make_shared<AddOptions>();
    command->add_option("FILE", options->database, "Database")->required()->type_name("");
    command->add_option("REACTANTS", options->files.reactants, "File with the reactants")
        ->required()
        ->type_name("");
    command->add_option("PRODUCTS", options->files.products, "File with the products")
        ->required()
        ->type_name("");
    command
        ->add_option("TS", options->files.geometries,
                     "File with the transition states; its coordinates are stored")
        ->required()
        ->type_name("");
    command->footer("Record i of the three files is one reaction, with the same atoms in the same\n"
                    "order. It is stored under the transition state's title.\n\n"
                    "Example:\n"
                    "  saddlefit db add reactions.db reactants.sdf products.sdf ts.sdf");
    command->callback([&chosen, options] { chosen = [options] { return add(*options); }; });
}

void addListCommand(CLI::App &db, Action &chosen) {
    auto *command = db.add_subcommand("list", "Print the position and name of each record");
    const auto database = std::make_shared<std::string>();
    command->add_option("FILE", *database, "Database")->required()->type_name("");
    command->footer("Positions count from 0.\n\nExample:\n  saddlefit db list reactions.db");
    command->callback([&chosen, database] { chosen = [database] { return list(*database); }; });
}

} // namespace

void addDbCommand(CLI::App &program, Action &chosen) {
    auto *db = program.add_subcommand("db", "Make and look through databases");
    db->footer("Example:\n  saddlefit db list reactions.db");
    addAddCommand(*db, chosen);
    addListCommand(*db, chosen);
}

} // namespace saddlefit::cli
