/// How near atoms come that no bond holds together.
#pragma once

#include "host/structures/structure.hpp"

#include <span>

namespace saddlefit::host {

/// The sum of the van der Waals radii of two elements, in angstrom.
double contactDistance(int element1, int element2);

/// The library's estimate for a bond between two elements, by its type, in angstrom.
double bondLengthOf(int element1, int element2, int type);

} // namespace saddlefit::host
