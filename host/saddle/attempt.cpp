#include "host/saddle/attempt.hpp"

#include "host/saddle/criteria.hpp"

#include <algorithm>
#include <array>

namespace saddlefit::host {

namespace {

/// The sides that both ends are. An end that is neither side as drawn may still be what the surface
/// makes of one; where both ends would be the same side, they are the same compound.
std::array<Side, 2> sidesOf(const std::vector<End> &ends, ReactionSides &sides) {
    const auto is = [&](std::size_t reactant, std::size_t product) {
        return sides.reactant.hasBonds(ends[reactant].bonds) &&
               sides.product.hasBonds(ends[product].bonds);
    };
    if (ends[0].bonds != ends[1].bonds) {
        if (is(0, 1)) return {Side::reactant, Side::product};
        if (is(1, 0)) return {Side::product, Side::reactant};
    }
    std::array<Side, 2> found{Side::neither, Side::neither};
    for (std::size_t i = 0; i < 2; ++i) {
        if (sides.reactant.hasBonds(ends[i].bonds))
            found[i] = Side::reactant;
        else if (sides.product.hasBonds(ends[i].bonds))
            found[i] = Side::product;
    }
    return found;
}

bool areBothSides(const std::vector<Side> &sides) {
    return sides[0] != sides[1] && sides[0] != Side::neither && sides[1] != Side::neither;
}

void compareEnds(ReactionSides &sides, Attempt &attempt) {
    const auto found = sidesOf(attempt.ends, sides);
    attempt.sides.assign(found.begin(), found.end());
    if (attempt.sides[1] == Side::reactant || attempt.sides[0] == Side::product) {
        std::swap(attempt.ends[0], attempt.ends[1]);
        std::swap(attempt.sides[0], attempt.sides[1]);
    }
    attempt.outcome = SaddleOutcome::otherEnds;
    if (!areBothSides(attempt.sides)) return;
    if (attempt.modeShare >= leastModeShare)
        attempt.outcome = SaddleOutcome::verified;
    else
        attempt.reason = "the imaginary mode does not change the bonds of the reaction";
}

/// Where nothing is known of the reaction, it is what the ends say.
void takeEndsForSides(Attempt &attempt) {
    const auto changed = bondsChanged(attempt.ends[0].bonds, attempt.ends[1].bonds);
    if (changed.none()) {
        attempt.outcome = SaddleOutcome::otherEnds;
        attempt.sides = {Side::neither, Side::neither};
        return;
    }
    attempt.outcome = SaddleOutcome::verified;
    attempt.sides = {Side::reactant, Side::product};
    const auto &saddle = attempt.saddle;
    attempt.modeShare = shareInBonds(changed, saddle.coordinates, saddle.vibrations.modes.col(0));
}

/// What the point comes to that the attempt has found.
void judge(EnergySurface &surface, ReactionSides *sides, const AttemptOptions &options,
           Attempt &attempt) {
    const auto &saddle = attempt.saddle;
    const bool isMeasured = saddle.vibrations.wavenumbers.size() > 0;
    if (isMeasured && sides)
        attempt.modeShare =
            shareInBonds(sides->changed, saddle.coordinates, saddle.vibrations.modes.col(0));
    if (!saddle.converged || saddle.vibrations.order() < 1) {
        attempt.outcome = SaddleOutcome::notConverged;
        return;
    }
    if (!saddle.isFirstOrder()) {
        attempt.outcome = SaddleOutcome::higherOrder;
        return;
    }
    const auto ends = endsOf(surface, saddle, options.descent);
    attempt.ends.assign(ends.begin(), ends.end());
    if (sides)
        compareEnds(*sides, attempt);
    else
        takeEndsForSides(attempt);
}

/// The attempt to judge what `find` comes to.
template <class Find>
Attempt attemptAt(EnergySurface &surface, ReactionSides *sides, const AttemptOptions &options,
                  const Find &find) {
    Attempt attempt;
    const int before = surface.gradientsUsed();
    try {
        attempt.saddle = find();
        judge(surface, sides, options, attempt);
    } catch (const Error &error) {
        attempt.outcome = SaddleOutcome::failed;
        attempt.reason = error.what();
    }
    attempt.gradients = surface.gradientsUsed() - before;
    return attempt;
}

} // namespace

const char *nameOf(SaddleOutcome outcome) {
    constexpr std::array names{"verified", "other ends", "higher order", "not converged", "failed"};
    return names[static_cast<std::size_t>(outcome)];
}

int Attempt::endThatIs(Side side) const {
    const auto found = std::find(sides.begin(), sides.end(), side);
    return found == sides.end() ? -1 : static_cast<int>(found - sides.begin());
}

Attempt attemptFrom(EnergySurface &surface, const SaddleStart &start, const DirectionAt &direction,
                    ReactionSides *sides, const AttemptOptions &options) {
    return attemptAt(surface, sides, options, [&] {
        const auto progress = sides ? sides->progress() : ReactionProgress{};
        return findFirstOrder(surface, start, direction, progress, options.search);
    });
}

Attempt judged(EnergySurface &surface, const Eigen::VectorXd &coordinates, ReactionSides *sides,
               const AttemptOptions &options) {
    return attemptAt(surface, sides, options,
                     [&] { return measured(surface, coordinates, options.search); });
}

} // namespace saddlefit::host
