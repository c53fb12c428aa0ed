/// What "saddlefit db add" does, for other commands.
#pragma once

#include "cli/host.hpp"
#include "host/answers/learned_saddles.hpp"

#include <string>

namespace saddlefit::cli {

/// Store what the command would store of these records; tells how many that were. What is refused
/// is reported.
std::size_t addRecords(const std::string &database, const LearnedSaddles &records);

} // namespace saddlefit::cli
