/// How molecules that are about to react should stand to each other, as distances.
#pragma once

#include "host/reactions/distance_fit.hpp"
#include "host/reactions/fragments.hpp"
#include "host/reactions/transitions.hpp"

#include <span>
#include <vector>

namespace saddlefit::host {

/// Two atoms that are about to bond, or have just parted, are this far apart: the sum of their van
/// der Waals radii, in angstrom.
double approachDistance(int element1, int element2);

/// Pairs that are bonded on one side of a reaction only.
std::vector<AtomPair> bondedInOne(const Structure &side, const Structure &otherSide);

/// Distances between atoms of different fragments of one side. Atoms that the other side bonds face
/// each other at approachDistance(): behind the bond that breaks where one of them loses a
/// neighbour, above the plane where it lies in that of its three neighbours.
SpecialDistances approachOf(const Structure &side, const Structure &otherSide,
                            std::span<const Fragment> fragments);

} // namespace saddlefit::host
