/// Copies of molecules.
#pragma once

#include "molecule/memory.hpp"

namespace saddlefit {

/// A copy of what makes up a molecule: name, atoms with their labels, bonds, constraints and
/// transitions. The index of bonds, rings and the host's blocks stay behind. Throws std::bad_alloc.
OwnedMol copyOf(const Molecule &mol);

/// A copy of a text on the C heap; null of null. Throws std::bad_alloc.
OwnedBlock<char> copyOf(const char *text);

} // namespace saddlefit
