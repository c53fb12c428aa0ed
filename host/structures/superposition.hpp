/// The library's superposition, each in a state of its own: threads may do it at once.
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// Bring both molecules into one frame, as alignMapMols() does without matrices.
/// @param partners for each atom of the reference the one of the molecule that is laid on it, -1
///                 for none
void superpose(Molecule &reference, Molecule &molecule, const std::vector<int> &partners);

/// Where the atoms come to lie on a reference that stays.
std::vector<Position> laidOn(const std::vector<StructureAtom> &reference,
                             const std::vector<StructureAtom> &atoms,
                             const std::vector<int> &partners);

} // namespace saddlefit::host
