/// How strained a structure between the two sides of a reaction is.
#pragma once

#include "host/structures/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// In kcal/mol; what reactions of a dozen atoms have at most, and most of what is more is due to
/// two conformers that differ (docs/quality.md).
constexpr double bearableStrain = 30;

/// In kcal/mol, roughly, and only of use to compare structures of the same reaction: lasting bonds
/// and the angles between them outside of what the sides have, atoms nearer than the sum of their
/// radii allows (unless a side has them as near), and eclipsed single bonds.
double strainOf(const std::vector<Position> &positions, const Structure &reactant,
                const Structure &product);

/// Pairs of atoms that no bond of either side holds, whose distance is below the least that any
/// contact has (1.5 angstrom or half the sum of their radii), and shorter than on both sides.
std::vector<AtomPair> tooNearIn(const std::vector<Position> &positions, const Structure &reactant,
                                const Structure &product);

} // namespace saddlefit::host
