/// SMILES of what stands in space.
#pragma once

#include "host/structures/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// A canonical SMILES with bonds and orders as Open Babel perceives them. Hydrogens are implied
/// where they can be. Throws Error.
std::string perceivedSmiles(const std::vector<StructureAtom> &atoms, int charge);

} // namespace saddlefit::host
