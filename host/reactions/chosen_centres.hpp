#pragma once

#include "host/structures/stereo_marks.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// A sentence about each side's centres of handedness that its marks leave open, so that the
/// geometry was free to choose: "the handedness of C4 (R) in the product is chosen, ..." Centres of
/// the product that the reactant has too, open as well, are not told twice.
std::vector<std::string> chosenCentres(const MarkedStructure &reactant,
                                       const MarkedStructure &product);

} // namespace saddlefit::host
