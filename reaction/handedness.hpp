/// Whether a structure and what became of it are mirror images of each other.
#pragma once

#include "saddlefit/molecule.h"

namespace saddlefit {

/// The four consecutive atoms that lie least in a plane: the volume that three of them span at the
/// first one tells by its sign on which side they are.
struct Handedness {
    int first = -1;    ///< of the four; -1 if all lie in planes
    double volume = 0; ///< cubic angstrom
};

Handedness handednessOf(const Molecule &mol);

/// Whether those atoms have changed sides since.
bool isMirrored(const Molecule &mol, const Handedness &before);

} // namespace saddlefit
