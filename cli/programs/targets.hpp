// The geometry of constraints.
#ifndef SADDLEFIT_CLI_TARGETS_HPP
#define SADDLEFIT_CLI_TARGETS_HPP

#include "cli/programs/constraint_files.hpp"

#include <vector>

namespace saddlefit::cli {

// Its present value: angstrom, or degrees, a dihedral from -180 to 180.
double valueOf(const Constraint &constraint, const std::vector<StructureAtom> &atoms);

// How far the value is from the target, dihedrals the shorter way round.
double deviationOf(const Constraint &constraint, const std::vector<StructureAtom> &atoms);

// The atoms, moved as little as it takes to meet the constraints; fixed ones stay. What cannot be
// met, for it contradicts others, is met as far as the sweeps come.
std::vector<StructureAtom> atomsOnTarget(const ConstrainedMolecule &molecule);

} // namespace saddlefit::cli

#endif
