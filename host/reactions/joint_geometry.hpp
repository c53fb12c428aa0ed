/// Geometries of both sides of a reaction that is given by its bonds.
#pragma once

#include "host/structures/stereo_marks.hpp"

#include <vector>

namespace saddlefit::host {

struct JointGeometry {
    std::vector<Position> reactant, product;
    int unkept = 0; ///< stereo marks that do not show
};

/// Bring both sides into conformers that belong together.
///
/// The molecules of one side are arranged to react, folded until the atoms that will bond are near
/// each other, and a force field with the bonds of the other side goes on from there; the same the
/// other way round. Of the two the one is taken that keeps the stereo marks, then the one with the
/// least strain, then the one whose sides lie nearer to each other. Where both miss a mark or are
/// strained, distance geometry makes structures between the sides to begin with.
///
/// @param reactant with its molecules embedded each for itself, wherever they stand
/// @param product  likewise, with its atoms in the reactant's order
JointGeometry jointGeometry(const MarkedStructure &reactant, const MarkedStructure &product);

} // namespace saddlefit::host
