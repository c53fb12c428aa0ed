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

/// What the order of the atoms is worth to PairBy::automatic.
enum class OrderOfAtoms {
    counts,       ///< it stands where it breaks and forms as few bonds as the best map
    confirmed,    ///< likewise, and between the same molecules too: a transition state shows it
    meansNothing, ///< the best maps are taken
};

struct PairOptions {
    PairBy by = PairBy::automatic;
    AtomMapLimits limits{};
    OrderOfAtoms order = OrderOfAtoms::counts;
};

/// A product that lists its atoms as the reactant does.
struct Pairing {
    Structure product;
    std::vector<int> productAtoms;  ///< the places of its atoms in the record; empty for the order
    std::vector<std::string> notes; ///< sentences for the person who asked
    bool movesFar = false;          ///< whether another one moves the atoms less, by a clear margin
};

/// The ways to pair the atoms, best first, at least one. Several only where they break and form
/// equally few bonds, and fewer than the order does.
///
/// Map numbers that occur once on each side are kept. Where both sides number each of their atoms,
/// the order has to agree with the numbers (PairBy::order, automatic; unless it means nothing).
/// Throws Error where the atoms cannot be paired, and where the sides are the same molecules and
/// neither numbers nor a transition state tell what happens between them.
std::vector<Pairing> pairings(const Structure &reactant, const Structure &product,
                              const PairOptions &options);

/// Throws Error unless both have the same elements in the same order.
void requireSameAtoms(const Structure &structure, const Structure &other);

} // namespace saddlefit::host
