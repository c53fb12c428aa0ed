// The flag --json of a command that prints a result.
#ifndef SADDLEFIT_CLI_JSON_FLAG_HPP
#define SADDLEFIT_CLI_JSON_FLAG_HPP

#include <CLI/CLI.hpp>

namespace saddlefit::cli {

inline void addJsonFlag(CLI::App &command, bool &json) {
    command.add_flag("--json", json, "Print one JSON object instead of text");
}

} // namespace saddlefit::cli

#endif
