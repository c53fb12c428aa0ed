/// Saddle points as they are printed.
#pragma once

#include "cli/host.hpp"
#include "host/saddle/reaction_saddle.hpp"

#include <string>
#include <vector>

namespace saddlefit::cli {

/// Columns of a result line, parted by tabs: outcome, energy, barrier, lowest mode, gradients.
std::string saddleColumns(const ReactionSaddle &saddle);

/// Lines for -v: the attempts, their ends and the route.
std::string saddleExplanation(const std::vector<StructureAtom> &atoms,
                              const ReactionSaddle &saddle);

} // namespace saddlefit::cli
