/// The commands of "saddlefit db", and what they have in common.
#pragma once

#include "cli/json.hpp"
#include "cli/json_flag.hpp"
#include "cli/subcommand.hpp"

#include <string>

namespace saddlefit::cli {

void addDbAddCommand(CLI::App &db, Action &chosen);
void addDbListCommand(CLI::App &db, Action &chosen);
void addDbShowCommand(CLI::App &db, Action &chosen);
void addDbRemoveCommand(CLI::App &db, Action &chosen);
void addDbCheckCommand(CLI::App &db, Action &chosen);
void addDbValidateCommand(CLI::App &db, Action &chosen);
void addDbCompactCommand(CLI::App &db, Action &chosen);
void addDbSalvageCommand(CLI::App &db, Action &chosen);

struct DbOptions {
    std::string database;
    bool json = false;
};

/// A command of "saddlefit db", with the argument FILE and the flag --json.
template <class Options>
Subcommand<Options> addDbSubcommand(CLI::App &db, Action &chosen, const std::string &name,
                                    const std::string &summary, int (*run)(const Options &)) {
    const auto command = addSubcommand(db, chosen, name, summary, run);
    addArgument(command.parser, "FILE", command.options.database, "Database");
    addJsonFlag(command.parser, command.options.json);
    return command;
}

/// What is wrong with the text of a position; empty if nothing.
inline std::string complaintAboutPosition(const std::string &text) {
    const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == text.npos;
    return isNumber ? "" : "\"" + text + "\" is no position; \"saddlefit db list\" prints them";
}

} // namespace saddlefit::cli
