/// What is doubtful in the records of a reaction, though it can be worked with.
#pragma once

#include "host/structures/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// A sentence each: hydrogens that seem to be left out, isotopes.
std::vector<std::string> doubtsAbout(const Structure &reactant, const Structure &product);

/// Throws Error if both sides carry map numbers, and these pair atoms otherwise than the order
/// of the atoms does.
void requireMapsInOrder(const Structure &product, const Structure &reactant);

} // namespace saddlefit::host
