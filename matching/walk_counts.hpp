/// Which partners leave too little for the rest of the pattern.
#pragma once

#include "matching/partial_mapping.hpp"

#include <cstdint>
#include <vector>

namespace saddlefit {

/// How many walks along bonds begin at each atom, weighted by the elements and types of bonds on
/// their way.
///
/// Where all of the pattern that counts gets partners, its walks become walks of the target, no two
/// the same. So an atom begins at most as many as its partner, and what all partners together begin
/// more than their atoms is at most what the target has more than the pattern.
class WalkCounts {
public:
    /// Of the atoms of the pattern that have a partner or must get one, and of the whole target.
    explicit WalkCounts(const PartialMapping &mapping);

    /// Counts walks twice as long, unless the numbers become too large. They tell more apart.
    void lengthen();

    /// Whether all can still get partners once these two are a pair.
    bool allow(int atom, int partner) const {
        const std::int64_t excess = target_.counts[static_cast<std::size_t>(partner)] -
                                    pattern_.counts[static_cast<std::size_t>(atom)];
        return excess >= 0 && excess <= excess_;
    }

private:
    using Counts = std::vector<std::int64_t>;

    struct Side {
        const BondTable &bonds;
        Counts counts; ///< 0 for atoms that do not count
        Counts longer = Counts(counts.size());

        void step();
        std::int64_t total() const;
    };

    bool mayStep() const;

    Side pattern_;
    Side target_;
    int length_ = 0;
    std::int64_t excess_ = 0; // of the target's walks over the pattern's
};

} // namespace saddlefit
