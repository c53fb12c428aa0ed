/// The geometry that a reaction starts from. It decides handedness, and which of several equally
/// good stored structures is nearest.
#pragma once

#include "host/structures/structure.hpp"

#include <span>
#include <vector>

namespace saddlefit::host {

/// Between reactant and product: the geometry whose distances are nearest to wanted ones, from the
/// mean of the positions on. For that the product is superposed on the reactant, with the atoms of
/// the reaction centre counting ten times as much as others: there the mean shall be good, and at
/// the ends of the molecule little depends on it.
///
/// Wanted are the means of the distances of both sides, but nearer to the side on which fewer bonds
/// lie between the two atoms: what a bond holds together on one side is not yet, or no longer, half
/// as far away in the transition state as on the other (docs/quality.md).
std::vector<Position> meanGeometry(const Structure &reactant, const Structure &product,
                                   std::span<const int> centre);

} // namespace saddlefit::host
