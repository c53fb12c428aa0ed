// SMILES with map numbers.
#ifndef SADDLEFIT_CLI_SMILES_HPP
#define SADDLEFIT_CLI_SMILES_HPP

#include "cli/files/structure.hpp"

#include <map>
#include <string>

namespace OpenBabel {
class OBMol;
}

namespace saddlefit::cli {

// The bonds of a SMILES in a Kekule form, between atoms named by their map number less one.
// Throws UserError, with `origin` in front, unless the SMILES can be read and the map numbers of
// its atoms, hydrogens too, are 1, 2, 3, ..., each once.
std::map<AtomPair, int> mappedSmilesBonds(const std::string &smiles, const std::string &origin);

// Bring the atoms into the order of their map numbers, as far as all have one.
void sortByMapNumbers(OpenBabel::OBMol &mol);

} // namespace saddlefit::cli

#endif
