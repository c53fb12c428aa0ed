/// Bonds out of coordinates, by the library's rules.
#pragma once

#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// The pairs of atoms that bondTypeGuess() in mode 2 has something to say about, with what it says
/// as their type: lower number first, ascending. The cost grows with the number of atoms, not of
/// pairs. Throws Error if the atoms lie on top of each other.
std::vector<StructureBond> candidateBonds(const std::vector<StructureAtom> &atoms);

/// The candidates as recheckBonds() settles them: single, double, triple and aromatic bonds, and
/// contacts (type 0).
std::vector<StructureBond> perceivedBonds(const std::vector<StructureAtom> &atoms);

/// The same without contacts.
std::vector<StructureBond> perceivedCovalentBonds(const std::vector<StructureAtom> &atoms);

} // namespace saddlefit::host
