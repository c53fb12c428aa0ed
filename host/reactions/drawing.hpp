/// One reaction, many drawings: Kekule forms, charged and uncharged forms, radicals. Differences
/// between drawings are no bond changes, yet would give a transition code that nothing stored has.
#pragma once

#include "host/reactions/transitions.hpp"
#include "host/system/words.hpp"

#include <vector>

namespace saddlefit::host {

/// Where the bond orders of a reaction are from.
enum class Orders {
    drawn,      ///< the bond block
    harmonised, ///< the bond block, brought to one way of drawing
    smiles      ///< the data field MAPPED_SMILES where there is one, then harmonised
};

template <>
inline constexpr auto wordsFor<Orders> = std::to_array<Word<Orders>>(
    {{Orders::drawn, "drawn"}, {Orders::harmonised, "harmonised"}, {Orders::smiles, "smiles"}});

/// Bonds that an uncharged atom of the main group commonly has; 0 for an element that is left
/// alone.
int usualValence(int element);

/// What an atom could still bind as it is drawn, with `moreCharge` beside its own. A charge is a
/// bond more for nitrogen and oxygen that carry it positively, and a bond less in every other case.
int valenceLeft(const Structure &structure, int atom, int moreCharge = 0);

/// Draw a side without separated charges and without neighbouring radicals: each bond that the
/// other side has too rises by one order as long as its atoms carry opposite formal charges, or
/// both have a valence left, but not beyond a triple bond. By ascending atom pair.
void joinSeparatedElectrons(Structure &side, const Structure &otherSide);

/// Take the bond orders from the field MAPPED_SMILES, in which an atom's map number is its number
/// in the record. A structure without the field is left alone. Throws Error if the field's atoms or
/// bonds are not those of the record.
void takeSmilesOrders(Structure &structure);

/// Leave out the bonds of even rings whose orders rise and fall by one in turn while all its bonds
/// stay: the same electrons in the other Kekule form. Where there is nothing else, it is the
/// reaction, and all are kept.
std::vector<BondChange> withoutRedrawnRings(const std::vector<BondChange> &changes);

} // namespace saddlefit::host
