// SMILES with map numbers.
#pragma once

#include "host/structures/structure.hpp"

#include <map>
#include <string>
#include <vector>

namespace OpenBabel {
class OBMol;
}

namespace saddlefit::host {

// The bonds of a SMILES in a Kekule form, between atoms named by their map number less one.
// Throws Error, with `origin` in front, unless the SMILES can be read and the map numbers of
// its atoms, hydrogens too, are 1, 2, 3, ..., each once.
std::map<AtomPair, int> mappedSmilesBonds(const std::string &smiles, const std::string &origin);

// The map numbers of the atoms; empty unless each atom has one of its own.
std::vector<int> mapNumbersOf(OpenBabel::OBMol &mol);

// Bring the atoms into the order of their map numbers. False, and nothing is done, unless these are
// 1, 2, 3, ..., each once.
bool sortByMapNumbers(OpenBabel::OBMol &mol);

// Throws Error if an atom has hydrogens that are no atoms.
void requireWrittenHydrogens(OpenBabel::OBMol &mol);

} // namespace saddlefit::host
