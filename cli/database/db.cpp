#include "cli/database/db_commands.hpp"

#include <array>
#include <charconv>

namespace saddlefit::cli {

namespace {

constexpr std::array dbCommands{addDbAddCommand,    addDbListCommand,     addDbFindCommand,
                                addDbShowCommand,   addDbExportCommand,   addDbStatsCommand,
                                addDbMergeCommand,  addDbRenameCommand,   addDbRemoveCommand,
                                addDbCheckCommand,  addDbValidateCommand, addDbCompactCommand,
                                addDbSalvageCommand};

} // namespace

std::optional<std::size_t> positionIn(const std::string &text) {
    std::size_t position = 0;
    const auto *end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, position);
    if (failure != std::errc() || rest != end) return std::nullopt;
    return position;
}

std::size_t positionOf(const std::string &text, const Catalogue &catalogue) {
    const auto position = positionIn(text);
    if (!position) return catalogue.positionOf(text);
    requirePosition(catalogue.database(), *position);
    return *position;
}

void addDbCommand(CLI::App &program, Action &chosen) {
    auto *db = program.add_subcommand("db", "Make, look through and look after databases");
    db->footer("Example:\n  saddlefit db list reactions.db");
    for (const auto add : dbCommands)
        add(*db, chosen);
}

} // namespace saddlefit::cli
