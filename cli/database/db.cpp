#include "cli/database/db_commands.hpp"

#include <array>

namespace saddlefit::cli {

namespace {

constexpr std::array dbCommands{addDbAddCommand,     addDbListCommand,   addDbShowCommand,
                                addDbRemoveCommand,  addDbCheckCommand,  addDbValidateCommand,
                                addDbCompactCommand, addDbSalvageCommand};

} // namespace

void addDbCommand(CLI::App &program, Action &chosen) {
    auto *db = program.add_subcommand("db", "Make, look through and look after databases");
    db->footer("Example:\n  saddlefit db list reactions.db");
    for (const auto add : dbCommands)
        add(*db, chosen);
}

} // namespace saddlefit::cli
