/// What a reaction does to bonds, from the difference of its two sides.
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <span>
#include <string>
#include <vector>

namespace saddlefit::host {

/// A bond whose type differs between the sides; type 0 where there is no bond.
struct BondChange {
    AtomPair atoms;
    int before = 0;
    int after = 0;
};

/// The bonds that differ, by ascending atom pair. The bonds of a ring that is aromatic on both
/// sides are left out: there only the drawn form can differ.
std::vector<BondChange> changedBonds(const Structure &reactant, const Structure &product);

/// In halves of a bond order.
inline int halfOrders(int type) {
    return type == aromaticType ? 3 : 2 * type;
}

/// How many steps a bond of one type is from another: one for each order, and an aromatic bond
/// stands half-way between single and double, with each begun step counted in full.
int stepsBetween(int before, int after);

/// One falling and one rising bond per transition: a bond is listed once for each step of its
/// order, by ascending atom pair, and the i-th falling step goes with the i-th rising one. Where
/// one list is longer the other half is -1.
std::vector<Transition> deriveTransitions(std::span<const BondChange> changes);

/// "C-N C-O" for the code 6 7 6 8 0.
std::string codeInSymbols(const int *code);

} // namespace saddlefit::host
