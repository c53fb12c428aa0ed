/// The flag --json of a command that prints a result.
#pragma once

#include <CLI/CLI.hpp>

namespace saddlefit::cli {

inline void addJsonFlag(CLI::App &command, bool &json) {
    command.add_flag("--json", json, "Print one JSON object instead of text");
}

} // namespace saddlefit::cli
