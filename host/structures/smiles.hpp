/// Molecules as SMILES.
#pragma once

#include "host/structures/babel_protocol.hpp"
#include "host/structures/stereo_marks.hpp"
#include "host/structures/structure.hpp"

#include <map>
#include <string>

namespace saddlefit::host {

/// The bonds of a SMILES in a Kekule form, between atoms named by their map number less one.
/// Throws Error, with `origin` in front, unless the SMILES can be read and the map numbers of its
/// atoms, hydrogens too, are 1, 2, 3, ..., each once.
std::map<AtomPair, int> mappedSmilesBonds(const std::string &smiles, const Place &origin);

/// Bring the atoms into the order of their map numbers, if these are 1, 2, 3, ..., each once. Of a
/// side of a reaction every atom has to be there and to be known by a number: throws Error if not.
void prepareSmiles(babel::Molecule &molecule, bool isSideOfReaction);

/// All molecules of a SMILES, without coordinates. The atoms stand in its order, and behind them
/// the hydrogens that it does not write. Throws Error, with `origin` in front, where the SMILES
/// cannot be read.
MarkedStructure moleculesInSmiles(const std::string &smiles, const Place &origin);

} // namespace saddlefit::host
