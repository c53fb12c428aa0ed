// The commands of "saddlefit db", and what they have in common.
#ifndef SADDLEFIT_CLI_DB_COMMANDS_HPP
#define SADDLEFIT_CLI_DB_COMMANDS_HPP

#include "cli/commands.hpp"
#include "cli/json.hpp"
#include "cli/json_flag.hpp"

#include <CLI/CLI.hpp>

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

// The argument FILE and the flag --json.
inline void addDbOptions(CLI::App &command, DbOptions &options) {
    command.add_option("FILE", options.database, "Database")->required()->type_name("");
    addJsonFlag(command, options.json);
}

// What is wrong with the text of a position; empty if nothing.
inline std::string complaintAboutPosition(const std::string &text) {
    const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == text.npos;
    return isNumber ? "" : "\"" + text + "\" is no position; \"saddlefit db list\" prints them";
}

} // namespace saddlefit::cli

#endif
