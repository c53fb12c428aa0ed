#pragma once

#include "collection/lewis.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace saddlefit::collection {

/// A reaction that may be one: the same atoms drawn before and after.
struct Proposal {
    LewisStructure reactant;
    LewisStructure product;
    std::string hash;

    BondsChanged changed() const {
        return bondsChanged(graphOf(reactant.orders), graphOf(product.orders));
    }
};

/// The proposal that changes these orders by these steps; nothing where that is no molecule, or no
/// bond is made or broken.
std::optional<Proposal> proposed(const Species &species, const LewisStructure &reactant,
                                 const BondOrders &steps);

/// All that breaks and forms up to two bonds in units of order, each reaction once. Products have
/// closed shells, at most one carbene or carbanion, and no ring that is too small for what is in
/// it. The plainest come first; among equals the seed decides.
std::vector<Proposal> enumerated(const Species &species, const LewisStructure &reactant,
                                 std::uint64_t seed);

/// Whether a ring is too small for its triple or cumulated bonds, or two three-membered rings share
/// a bond.
bool hasImpossibleRing(const Species &species, const BondOrders &orders);

} // namespace saddlefit::collection
