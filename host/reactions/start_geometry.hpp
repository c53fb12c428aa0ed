// The geometry that a reaction starts from. It decides handedness, and which of several equally
// good stored structures is nearest.
#pragma once

#include "host/structures/structure.hpp"

#include <span>
#include <vector>

namespace saddlefit::host {

// Half-way between reactant and product: the geometry whose distances are nearest to the means of
// theirs, from the mean of the positions on. For that the product is superposed on the reactant,
// with the atoms of the reaction centre counting ten times as much as others: there the mean shall
// be good, and at the ends of the molecule little depends on it.
std::vector<Position> meanGeometry(const std::vector<StructureAtom> &reactant,
                                   const std::vector<StructureAtom> &product,
                                   std::span<const int> centre);

} // namespace saddlefit::host
