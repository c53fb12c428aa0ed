/// How saddle points are searched for, in the options of several commands.
#pragma once

#include "host/saddle/reaction_saddle.hpp"

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace saddlefit::cli {

/// --method.
void addMethodOption(CLI::App &command, host::SaddleOptions &options);

/// --check.
void addCheckOption(CLI::App &command, host::SaddleOptions &options);

/// --gradient, of geometries that are taken as they stand.
void addGradientOption(CLI::App &command, host::SaddleOptions &options);

/// --attempts, --steps and --check.
void addLadderOptions(CLI::App &command, host::SaddleOptions &options);

} // namespace saddlefit::cli
