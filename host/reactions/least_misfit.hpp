#pragma once

#include "host/structures/structure.hpp"

#include <span>
#include <vector>

namespace saddlefit::host {

/// The root mean square distance between points and their partners after the best superposition,
/// both given about their centroids, in angstrom.
/// @param partners per point the number of its partner
double leastMisfit(std::span<const Position> points, std::span<const Position> others,
                   std::span<const int> partners);

} // namespace saddlefit::host
