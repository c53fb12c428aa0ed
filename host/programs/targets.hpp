/// The geometry of constraints.
#pragma once

#include "host/programs/constraint_files.hpp"

#include <vector>

namespace saddlefit::host {

/// Its present value: angstrom, or degrees, a dihedral from -180 to 180.
double valueOf(const Constraint &constraint, const std::vector<StructureAtom> &atoms);

/// Whether no constraint is off by more than rounding.
bool areOnTarget(const std::vector<StructureAtom> &atoms,
                 const std::vector<Constraint> &constraints);

/// How far the value is from the target, dihedrals the shorter way round.
double deviationOf(const Constraint &constraint, const std::vector<StructureAtom> &atoms);

/// The atoms, moved as little as it takes to meet the constraints; fixed ones stay. They are given
/// back as they were where constraints contradict each other, or could be met only by moving an
/// atom by more than 0.5 angstrom.
std::vector<StructureAtom> atomsOnTarget(const ConstrainedMolecule &molecule);

} // namespace saddlefit::host
