/// Bonds of reactions that are given as coordinates.
#pragma once

#include "host/structures/structure.hpp"
#include "host/system/words.hpp"

#include <optional>

namespace saddlefit::host {

/// Who finds the bonds of a side whose format has none.
enum class BondFinder { openBabel, library };

template <>
inline constexpr auto wordsFor<BondFinder> = std::to_array<Word<BondFinder>>(
    {{BondFinder::openBabel, "openbabel"}, {BondFinder::library, "saddlefit"}});

struct BareSideOptions {
    BondFinder finder = BondFinder::openBabel;
    std::optional<int> charge; ///< of both sides; else what one of the records tells, or 0
};

/// Give each side whose record names no bonds those that its coordinates show.
/// Throws Error, with the record in front, where they show none, or Open Babel is not there.
void findBonds(Structure &reactant, Structure &product, const BareSideOptions &options);

} // namespace saddlefit::host
