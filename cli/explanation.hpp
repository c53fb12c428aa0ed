/// What "react -v" says about an answer.
#pragma once

#include "cli/host.hpp"
#include "host/answers/answer.hpp"

#include <string>

namespace saddlefit::cli {

/// Whole lines: per stage how many candidates there were and where they were dropped, per match its
/// class, weight, misfit, orientation and the roles and lengths of the changing bonds.
std::string explanation(const Reaction &reaction, const Answer &answer);

} // namespace saddlefit::cli
