#pragma once

#include "host/saddle/ends.hpp"
#include "host/saddle/reaction_sides.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// What became of a search, the best first.
enum class SaddleOutcome { verified, otherEnds, higherOrder, notConverged, failed };

/// "verified", "other ends", "higher order", "not converged", "failed".
const char *nameOf(SaddleOutcome outcome);

/// Which side of the reaction an end is.
enum class Side { reactant, product, neither };

struct AttemptOptions {
    SaddleSearchOptions search;
    Descent descent = Descent::quick;
};

/// One search from a start to its verified end.
struct Attempt {
    SaddleOutcome outcome = SaddleOutcome::failed;
    std::string reason; ///< why it failed or what is wrong with its ends; empty otherwise
    StationaryPoint saddle;
    double modeShare = 0.0;  ///< how much of the imaginary mode is in the changing bonds, 0 to 1
    std::vector<End> ends;   ///< two of a first-order saddle, the reactant's first if it is one
    std::vector<Side> sides; ///< what each of them is
    int gradients = 0;       ///< used in all

    /// -1 unless that side is one of the ends.
    int endThatIs(Side side) const;
};

/// Search from the start, then slide down on both sides and compare the ends with the reaction's.
/// Without sides the ends are the reaction, if their bonds differ. Does not throw Error: it
/// makes the outcome.
Attempt attemptFrom(EnergySurface &surface, const SaddleStart &start, const DirectionAt &direction,
                    ReactionSides *sides, const AttemptOptions &options = {});

/// The same of a geometry as it stands, without a search.
Attempt judged(EnergySurface &surface, const Eigen::VectorXd &coordinates, ReactionSides *sides,
               const AttemptOptions &options = {});

} // namespace saddlefit::host
