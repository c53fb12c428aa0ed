/// Aromatic rings of a drawn structure.
#pragma once

#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// The smallest rings whose bonds all have type aromaticType.
std::vector<Ring> ringsOfAromaticBonds(std::size_t atomCount,
                                       const std::vector<StructureBond> &bonds);

/// The smallest rings that are aromatic all round in the drawing. `hydrogens` of an atom belong to
/// it without being atoms. Bonds drawn aromatic are given a Kekule form first; where there is none
/// no ring counts. A bond is aromatic on a cycle of at most 14 atoms whose pi electrons are 4n + 2;
/// an atom gives 0, 1 or 2 by its element, charge and bonds, a carbonyl carbon none.
std::vector<Ring> aromaticRings(const std::vector<StructureAtom> &atoms,
                                const std::vector<StructureBond> &bonds,
                                const std::vector<int> &hydrogens);

} // namespace saddlefit::host
