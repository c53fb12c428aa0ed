/// How saddle points are searched for, in the options of several commands.
#pragma once

#include "host/saddle/reaction_saddle.hpp"

#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace saddlefit::cli {

/// Check of an option for the name of a method: what is wrong with it, or nothing.
std::string complaintAboutMethod(const std::string &name);
inline constexpr const char *methodType = "gfn2|gfn1|gfnff|PROGRAM:METHOD";

/// --method and --gradient-time.
void addMethodOption(CLI::App &command, host::SaddleOptions &options);

/// --gradient-time.
void addGradientTimeOption(CLI::App &command, host::SaddleOptions &options);

/// --check.
void addCheckOption(CLI::App &command, host::SaddleOptions &options);

/// --gradient, of geometries that are taken as they stand.
void addGradientOption(CLI::App &command, host::SaddleOptions &options);

/// --attempts, --steps and --check.
void addLadderOptions(CLI::App &command, host::SaddleOptions &options);

} // namespace saddlefit::cli
