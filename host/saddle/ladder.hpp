#pragma once

#include "host/saddle/attempt.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// A geometry to search from, and what to call it: "guess".
struct NamedStart {
    std::string name;
    Eigen::VectorXd coordinates;
};

struct LadderOptions {
    AttemptOptions attempt;
    int attempts = 3; ///< searches for one saddle between both sides, the first included
    int steps = 2;    ///< saddles that a route may go over
};

struct NamedAttempt {
    std::string start; ///< "guess", "scan", "lengths" or "follow"
    Attempt result;
};

/// What came of all searches for one reaction.
struct SaddleReport {
    SaddleOutcome outcome = SaddleOutcome::failed; ///< of the route, or of what is shown
    std::string reason;                 ///< in a sentence; empty where it is verified in one step
    std::vector<NamedAttempt> attempts; ///< in their order
    std::vector<std::size_t> route;     ///< attempts whose saddles lead from reactant to product
    double depth = 0.0; ///< of the intermediate of two steps below the lower saddle, hartree
    bool followsToReactant = false; ///< whether "follow" went from the wrong end to the reactant
    int gradients = 0;

    /// What there is to show: the route's highest saddle or, without a route, what is nearest to a
    /// verified saddle between both sides.
    const NamedAttempt &shown() const;
};

/// The report of a single search.
SaddleReport reportOf(NamedAttempt attempt);

/// "verified", "verified in 2 steps", "other ends" and so on.
std::string outcomeWords(const SaddleReport &report);

/// Search from the first start and, where that does not verify, go on: from the highest point of a
/// path between both relaxed sides, from the other starts, and from the wrong end of a saddle that
/// has one right end to the side that it misses. A saddle in one step that lies 5 kcal/mol above
/// one with a wrong end is held against the route over that one; the lower route is reported.
SaddleReport climbLadder(EnergySurface &surface, const std::vector<NamedStart> &starts,
                         ReactionSides &sides, const LadderOptions &options = {});

} // namespace saddlefit::host
