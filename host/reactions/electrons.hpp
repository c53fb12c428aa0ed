/// Charge and spin of a reaction.
#pragma once

#include "host/structures/structure.hpp"
#include "host/system/error.hpp"

#include <optional>
#include <vector>

namespace saddlefit::host {

/// What the person who asks says of them.
struct GivenElectrons {
    std::optional<int> charge;
    std::optional<int> unpaired;
};

struct Electrons {
    int charge = 0;
    int unpaired = 0;
    std::vector<Warning> doubts;
};

/// What the record says of the charge: a number of its own, or its formal charges where it names
/// bonds. Nothing for bare coordinates.
std::optional<int> toldCharge(const Structure &side);

/// The charge is what is given, else what the reactant's record tells, else the product's, else 0.
/// The unpaired electrons are those that are given, else those that a record tells, else those of
/// the radicals that it marks, else one if the number of electrons is odd. Where both sides tell,
/// and differ, it is the reactant's charge and the lower number of unpaired electrons.
///
/// Throws Error if the number of electrons does not allow what is given.
Electrons electronsOf(const Structure &reactant, const Structure &product,
                      const GivenElectrons &given);

} // namespace saddlefit::host
