/// The molecules of one side of a reaction, each a record of its own.
#pragma once

#include "host/structures/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// Molecules as one structure, in their order; charges and unpaired electrons add up. They stand in
/// a row, too far apart for bonds to be found between them.
Structure joined(const std::vector<Structure> &molecules);

/// All records of these files, joined.
/// @param format of files without an extension, and of the standard input
/// Throws Error where a record cannot be read.
Structure joinedMolecules(const std::vector<std::string> &paths, const std::string &format);

} // namespace saddlefit::host
