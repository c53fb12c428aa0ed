/// What surrounds a changing bond, in keys by which stored bonds are found that have it in common.
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <array>
#include <cstdint>
#include <set>
#include <vector>

namespace saddlefit::host {

/// From coarse to fine, each one within the one before:
///   0  the elements of the two ends, and whether the bond is made or broken or keeps an order
///   1  of each end how many bonds break and form there; the path between them without the bond
///   2  the reaction centre, with what becomes of each pair of its atoms, and which pair this is
///   3  what is bonded to the two ends, with orders before and after
///   4  what is bonded to that
inline constexpr std::size_t surroundingsLevels = 5;
inline constexpr std::size_t centreLevel = 2;
using SurroundingsKeys = std::array<std::uint64_t, surroundingsLevels>;

/// What somebody looks for, of all levels.
using WantedKeys = std::set<std::uint64_t>;

/// A bond that changes. Its keys are those of the reaction in the direction in which the bond
/// breaks or loses order, so that a reaction and its reverse have the same.
struct ChangingBond {
    AtomPair atoms;
    bool madeOrBroken = false;
    SurroundingsKeys keys{};
};

/// The changing bonds of a molecule that is in its transition-state picture, as applyTransition()
/// makes it and databases hold it. A reaction of more than 24 changes or atoms of its centre, which
/// is no elementary one, is not looked into: its finer keys repeat the coarsest. Nor are, where
/// `wanted` is given, surroundings within others that are not wanted: their keys repeat that one.
std::vector<ChangingBond> changingBondsOf(const Molecule &transitionState,
                                          const WantedKeys *wanted = nullptr);

} // namespace saddlefit::host
