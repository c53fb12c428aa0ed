#pragma once

#include "host/reactions/atom_map.hpp"
#include "host/reactions/symmetry_moves.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace saddlefit::host {

/// One side in space.
class PlacedSide {
public:
    PlacedSide(const Structure &structure, const MapSide &side);

    std::size_t atomCount() const { return positions.size(); }
    int type(int a, int b) const; ///< of a bond, 0 for none; 5 for all of an aromatic ring

    const BondGraph &graph;
    std::vector<Position> positions; ///< about their centroid
    SymmetryMoves moves;

private:
    std::vector<std::uint8_t> types_;
};

/// Chooses among the maps that differ only in atoms which the bonds do not tell apart.
class MapGeometry {
public:
    MapGeometry(const Structure &reactant, const Structure &product, const MapSide &before,
                const MapSide &after)
        : before_(reactant, before), after_(product, after) {}

    /// The best map that symmetry moves of both sides lead to from this one.
    AtomMap settled(const std::vector<int> &productAtoms) const;

private:
    /// Make each move after which the map is better, or would be once twins have settled too.
    /// True if there was one.
    bool improve(AtomMap &map, const PlacedSide &side, const std::vector<SymmetryMove> &moves,
                 bool thenTwins) const;
    void improveTwins(AtomMap &map) const;
    AtomMap judged(std::vector<int> productAtoms) const;
    int inverted(const std::vector<int> &map) const;
    bool isInverted(int atom, const std::vector<int> &map) const;
    bool isTurned(const AtomPair &bond, const std::vector<int> &map) const;
    int orderSteps(const std::vector<int> &map) const;

    PlacedSide before_, after_;
};

/// Whether a map is to be preferred to another one.
bool isBetter(const AtomMap &map, const AtomMap &other);

} // namespace saddlefit::host
