#pragma once

#include "collection/trial.hpp"

#include <string>

namespace saddlefit::collection {

/// Reactant and product side by side (SVG), as Open Babel draws them. Hydrogens at carbon are drawn
/// where their bonds change. Throws Error.
std::string pictureOf(const VerifiedSaddle &saddle);

} // namespace saddlefit::collection
