/// Structures as they are sent to Open Babel.
#pragma once

#include "host/structures/babel_protocol.hpp"
#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// Bonds of type 0 count as single ones.
babel::Molecule babelMolecule(const std::vector<StructureAtom> &atoms,
                              const std::vector<StructureBond> &bonds);

} // namespace saddlefit::host
