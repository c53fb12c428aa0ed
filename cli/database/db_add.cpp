#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include "cli/database/database_file.hpp"
#include "cli/database/db_commands.hpp"
#include "cli/files/output_file.hpp"
#include "cli/quiet_stdout.hpp"
#include "cli/reaction/reaction_run.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

namespace saddlefit::cli {

namespace {

struct AddOptions : DbOptions {
    ReactionFiles files;
};

using Code = std::unique_ptr<int, decltype(&std::free)>;

// The transition state is stored with its transition-state bonds, as a search will ask for it.
// Returns its code.
std::string store(const Reaction &reaction, const std::string &database) {
    const HostMolecule mol = buildMolecule(reaction);
    C_startReaction(mol.get(), nullptr);
    const Code code(getTransitionCode(mol.get()), &std::free);
    const auto &name = reaction.geometryTitle;
    const QuietStdout quiet(true); // the block heap's error lines are no result
    if (insertDB(database.c_str(), strdup(name.c_str()), code.get(), mol.get()) == 1) {
        return codeInSymbols(code.get());
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
    Json entries = Json::array();
    const int failures = forEachReaction(options.files, [&](const Reaction &reaction) {
        const auto code = store(reaction, file.path());
        lines += reaction.geometryTitle + "\t" + code + "\n";
        entries.push_back({{"name", reaction.geometryTitle}, {"code", code}});
    });
    if (!entries.empty()) file.commit();
    if (options.json) printJson({{"file", options.database}, {"stored", entries}});
    if (!options.json) {
        std::printf("%s%zu stored in %s\n", lines.c_str(), entries.size(),
                    options.database.c_str());
    }
    return failures == 0 ? allDone : somethingFailed;
}

} // namespace

void addDbAddCommand(CLI::App &db, Action &chosen) {
    auto *command = db.add_subcommand("add", "Store transition states; makes a missing file");
    const auto options = std::make_shared<AddOptions>();
    addDbOptions(*command, *options);
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

} // namespace saddlefit::cli
