/// The rest of the molecule follows the reaction centre.
#pragma once

#include "saddlefit/molecule.h"

#include "host/reactions/distance_fit.hpp"
#include "host/structures/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// A structure whose atoms are to move, all but the fixed ones.
struct Relaxation {
    std::vector<StructureAtom> atoms;    ///< where they start from
    std::vector<Position> model;         ///< the whole structure before the fixed atoms were placed
    std::vector<StructureBond> bonds;    ///< of both sides of the reaction
    std::vector<Constraint> constraints; ///< distances in angstrom, angles in degrees
    std::vector<int> fixed;
    SpecialDistances hints{}; ///< of pairs without a constraint, for the fit of distances
};

/// Let all distances become as near to those of the model as the fixed atoms and the constrained
/// distances allow, see fitDistances(). Constrained angles are left out: they come from other
/// atoms' surroundings, and structures are better without them.
std::vector<Position> relaxByDistances(const Relaxation &task);

/// Go on with a force field (UFF of Open Babel). It knows nothing of transition states: what is
/// about to be made or broken has to be fixed or constrained, and its neighbourhood suffers all the
/// same. Throws Error if the force field has no parameters for the structure, or leads to no
/// structure.
std::vector<Position> relaxByForceField(const Relaxation &task);

/// What is wrong with a structure, a sentence each: an unchanged bond whose length is more than 20
/// % off those in both the reactant and the product, atoms nearer than any contact (tooNearIn(), or
/// 0.7 angstrom), more strain in all than bearableStrain.
std::vector<std::string> strainIn(const std::vector<StructureAtom> &placed,
                                  const Structure &reactant, const Structure &product);

} // namespace saddlefit::host
