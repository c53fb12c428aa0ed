#pragma once

#include "host/reactions/side_source.hpp"

namespace saddlefit::host {

/// Give both sides the coordinates in which they react, as far as those that they have are to be
/// changed: Sides::reactantPlacing, Sides::productPlacing.
/// @param sides with the product's atoms in the reactant's order
/// @return sentences for the person who asked
std::vector<std::string> placeSides(Sides &sides);

} // namespace saddlefit::host
