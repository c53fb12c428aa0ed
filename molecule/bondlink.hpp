/// Keeps the index of bonds in step with a molecule that grows; used by the routines that add to
/// it.
#pragma once

#include "saddlefit/molecule.h"

namespace saddlefit {

/// Give every atom of the molecule a list, empty for those that had none. Needs an index. False if
/// there is no memory.
bool growBondlink(Molecule &mol);

/// Append a bond to the lists of both its atoms. Needs an index, and releases it if there is no
/// memory: whoever needs it next builds it anew, whereas one that lists a bond at one end lies.
void linkBond(Molecule &mol, Bond *bond);

/// Take a bond out of every list. Needs an index.
void unlinkBond(Molecule &mol, const Bond *bond);

/// Remove every bond that is condemned, the others keep their order. One walk for all, where
/// removeBond() costs a walk over the whole index for each. Needs a freshly built index, in which
/// a bond stands in the lists of its own two atoms only.
void removeCondemned(Molecule &mol, bool (*condemned)(const Bond &));

} // namespace saddlefit
