#pragma once

#include "host/structures/babel_protocol.hpp"

namespace OpenBabel {
class OBMol;
}

namespace saddlefit::babel {

/// Open Babel's molecule as a message. Bonds, rings and stereo only where they are wanted: to find
/// them takes its time.
Molecule messageOf(OpenBabel::OBMol &mol, bool wantsBonds, bool wantsStereo);

/// Fill an empty molecule. Throws ProtocolError for a bond or centre of atoms that there are not.
void fill(OpenBabel::OBMol &mol, const Molecule &molecule);

/// Fill in an order of 1 or 2 for aromatic bonds, and the stereo. For all uses but the force field,
/// which types atoms by the bonds as they were given.
void finish(OpenBabel::OBMol &mol, const Molecule &molecule);

Positions positionsOf(OpenBabel::OBMol &mol);

} // namespace saddlefit::babel
