/// The commands of "saddlefit db", and what they have in common.
#pragma once

#include "cli/json.hpp"
#include "cli/json_flag.hpp"
#include "cli/subcommand.hpp"
#include "host/store/catalogue.hpp"

#include <optional>
#include <string>

namespace saddlefit::cli {

void addDbAddCommand(CLI::App &db, Action &chosen);
void addDbListCommand(CLI::App &db, Action &chosen);
void addDbShowCommand(CLI::App &db, Action &chosen);
void addDbFindCommand(CLI::App &db, Action &chosen);
void addDbExportCommand(CLI::App &db, Action &chosen);
void addDbMergeCommand(CLI::App &db, Action &chosen);
void addDbRenameCommand(CLI::App &db, Action &chosen);
void addDbStatsCommand(CLI::App &db, Action &chosen);
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

/// The position that a text stands for: what "saddlefit db list" prints, or nothing for a name.
std::optional<std::size_t> positionIn(const std::string &text);

/// Of a record that is named by its position or its name. Throws Error if it is no single one.
std::size_t positionOf(const std::string &text, const Catalogue &catalogue);

} // namespace saddlefit::cli
