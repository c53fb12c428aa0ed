/// Charge and spin of a molecule.
#pragma once

#include "host/structures/structure.hpp"

#include <optional>

namespace saddlefit::host {

int formalCharge(const Structure &structure);

struct Electrons {
    int charge = 0;
    int unpaired = 0;
};

/// As they are given, else the sum of the formal charges, and 0 unpaired electrons or 1 where their
/// number is odd. Throws Error if so many cannot be unpaired.
Electrons electronsOf(const Structure &structure, std::optional<int> charge,
                      std::optional<int> unpaired);

} // namespace saddlefit::host
