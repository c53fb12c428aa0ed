#pragma once

#include "host/reactions/rest_maps.hpp"

#include <vector>

namespace saddlefit::host {

/// Atoms of one side that can change places without a change of its bonds: pairs of an atom and
/// the one whose place it takes. All others stay.
using SymmetryMove = std::vector<AtomPair>;

struct SymmetryMoves {
    /// Swaps and rotations of atoms that are bound to the same one and to nothing else.
    std::vector<SymmetryMove> twins;
    /// Swaps of larger parts, with as few atoms as possible: branches, halves of rings, molecules.
    std::vector<SymmetryMove> parts;
};

/// Moves that together lead to every arrangement of the equivalent atoms.
SymmetryMoves symmetryMoves(const MapSide &side);

} // namespace saddlefit::host
