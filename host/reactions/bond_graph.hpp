#pragma once

#include "host/structures/structure.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace saddlefit::host {

/// What tells atoms apart: equal for atoms that nothing yet distinguishes.
using Colour = std::uint64_t;

/// One side of a reaction as atoms with colours and bonds without orders, and the refinement of
/// its colours by those of the neighbours (Weisfeiler and Leman, Nauchno-Tekh. Inf. 2, 12 (1968)).
/// Colours of two graphs can be compared as long as both were refined in the same way.
class BondGraph {
public:
    /// Bonds of type 0, from an atom to itself, and repeated ones do not count.
    BondGraph(std::size_t atomCount, std::span<const StructureBond> bonds);

    std::size_t atomCount() const { return first_.size() - 1; }
    const std::vector<AtomPair> &bonds() const { return bonds_; } ///< ascending
    bool hasBond(int a, int b) const;
    std::span<const int> neighbours(int atom) const;

    /// Refine until the number of different colours no longer rises.
    /// @param labels one per bond: 0 for a bond that is left out, else what kind of bond it is
    void refine(std::span<const std::uint8_t> labels, std::vector<Colour> &colours) const;

    /// The sum over all atoms after a few rounds: different sums, different graphs.
    Colour fingerprint(std::span<const std::uint8_t> labels, std::span<const Colour> colours) const;

    /// How many atoms of each colour stand at which distance, per atom: tells apart what
    /// refinement cannot, as two five-rings joined by a bond from two fused six-rings.
    std::vector<Colour> distanceProfiles(std::span<const Colour> colours) const;

private:
    Colour refined(std::size_t atom, std::span<const std::uint8_t> labels,
                   std::span<const Colour> colours) const;

    std::vector<AtomPair> bonds_;
    std::vector<std::size_t> first_; ///< of an atom in the next two, with the end behind them
    std::vector<int> neighbours_;
    std::vector<std::size_t> bondTo_;
};

/// A number without likeness to this one.
Colour scattered(Colour value);

/// Independent of the order of the colours.
Colour sumOf(std::span<const Colour> colours);

} // namespace saddlefit::host
