#pragma once

#include "host/reactions/bond_graph.hpp"
#include "host/reactions/deadline.hpp"

#include <optional>
#include <set>
#include <span>
#include <vector>

namespace saddlefit::host {

/// One side of a reaction as the search for maps sees it.
struct MapSide {
    BondGraph graph;
    std::vector<Colour> colours;  ///< by what has to be equal in atoms that correspond
    std::vector<Colour> profiles; ///< finer: equal for atoms in the same place of the molecules
};

/// Gathers the maps between two sides whose rests, without some bonds, are the same graph: one for
/// each different reaction.
class RestMaps {
public:
    RestMaps(const MapSide &before, const MapSide &after, const Deadline &deadline)
        : before_(before), after_(after), deadline_(deadline) {}

    /// Add the maps for which these bonds (by their numbers) are broken and formed.
    /// Throws Deadline::Passed.
    void add(std::span<const std::size_t> broken, std::span<const std::size_t> formed);

    /// Per map and atom before: the atom after.
    const std::vector<std::vector<int>> &maps() const { return maps_; }

private:
    /// The colours of both rests, and of the whole first side with its broken bonds marked.
    struct Stage {
        std::vector<Colour> rest1, rest2, marked;
    };

    bool identify(Stage &stage, int atom1, int atom2, bool marking) const;
    void place(std::size_t end, const Stage &stage);
    std::optional<std::vector<int>> completed(const Stage &stage) const;
    std::optional<std::vector<int>> discreteMap(const Stage &stage) const;
    Colour reactionKey(const std::vector<int> &map) const;

    const MapSide &before_, &after_;
    const Deadline &deadline_;
    std::vector<std::uint8_t> labels1_, labels2_, markedLabels_;
    std::vector<AtomPair> formed_; ///< atoms after
    std::vector<int> ends_;        ///< of the formed bonds, each once
    std::set<Colour> keys_;
    std::vector<std::vector<int>> maps_;
};

} // namespace saddlefit::host
