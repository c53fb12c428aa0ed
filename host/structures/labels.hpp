/// What atoms and bonds of a structure are called in text.
#pragma once

#include "host/structures/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// "Cl3" for a chlorine at index 2.
std::string labelIn(const std::vector<StructureAtom> &atoms, int atom);

/// "C1-Cl3".
std::string bondLabel(const std::vector<StructureAtom> &atoms, const AtomPair &bond);

} // namespace saddlefit::host
