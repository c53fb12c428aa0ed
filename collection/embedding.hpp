#pragma once

#include "collection/lewis.hpp"

namespace saddlefit::collection {

/// A geometry for a drawing, bohr: distances by bonds and angles, fitted from random places, then
/// the force field (UFF), molecule by molecule, these in a row. Open Babel's own embedding differs
/// from run to run; this one is always the same. Throws Error.
Eigen::VectorXd embedded(const Species &species, const LewisStructure &drawing);

/// The geometry nearest to the start with distances that follow from bonds and angles.
Eigen::VectorXd atUsualDistances(const Species &species, const BondOrders &orders,
                                 const Eigen::VectorXd &start);

} // namespace saddlefit::collection
