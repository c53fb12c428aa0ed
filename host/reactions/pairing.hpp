/// How the atoms of two records correspond.
#pragma once

#include "host/reactions/atom_map.hpp"
#include "host/system/words.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

enum class PairBy {
    automatic, ///< the order, unless another map breaks and forms fewer bonds
    order,     ///< atom i of one side is atom i of the other
    numbers    ///< atoms with the same map number
};

template <>
inline constexpr auto wordsFor<PairBy> = std::to_array<Word<PairBy>>(
    {{PairBy::automatic, "auto"}, {PairBy::order, "order"}, {PairBy::numbers, "numbers"}});

struct PairOptions {
    PairBy by = PairBy::automatic;
    AtomMapLimits limits;
};

/// A product that lists its atoms as the reactant does.
struct Pairing {
    Structure product;
    std::vector<int> productAtoms;  ///< the places of its atoms in the record; empty for the order
    std::vector<std::string> notes; ///< sentences for the person who asked
};

/// The ways to pair the atoms, best first, at least one. Several only where they break and form
/// equally few bonds, and fewer than the order does.
///
/// Where both sides number each of their atoms, the order has to agree with the numbers
/// (PairBy::order, automatic). Throws Error where the atoms cannot be paired.
std::vector<Pairing> pairings(const Structure &reactant, const Structure &product,
                              const PairOptions &options);

/// Throws Error unless both have the same elements in the same order.
void requireSameAtoms(const Structure &structure, const Structure &other);

} // namespace saddlefit::host
