/// What is doubtful in the records of a reaction, though it can be worked with.
#pragma once

#include "host/structures/structure.hpp"

#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

/// A sentence each: hydrogens that seem to be left out, isotopes.
std::vector<std::string> doubtsAbout(const Structure &reactant, const Structure &product);

/// An atom whose map number, which occurs once on each side, stands elsewhere in the product: its
/// places in reactant and product.
std::optional<AtomPair> misplacedNumber(const Structure &product, const Structure &reactant);

/// Throws Error if both sides carry map numbers, and these pair atoms otherwise than the order
/// of the atoms does.
void requireMapsInOrder(const Structure &product, const Structure &reactant);

} // namespace saddlefit::host
