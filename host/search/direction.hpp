/// Whether a match runs the same way as the reaction.
#pragma once

#include "host/search/search.hpp"

#include <vector>

namespace saddlefit::host {

/// What the bonds that the reaction makes and breaks do in a match.
enum class MatchDirection {
    same,     ///< all of them the same
    opposite, ///< all the reverse: it is laid on the molecule the wrong way round
    mixed     ///< some of them anything else
};

template <>
inline constexpr auto wordsFor<MatchDirection> =
    std::to_array<Word<MatchDirection>>({{MatchDirection::same, "same"},
                                         {MatchDirection::opposite, "opposite"},
                                         {MatchDirection::mixed, "mixed"}});

/// Of a match that is not exact.
MatchDirection directionOf(const Reaction &reaction, const Match &match);

/// Behind a mixed first match, bring the first one of the same direction before it.
void preferSameDirection(const Reaction &reaction, std::vector<Match> &matches);

} // namespace saddlefit::host
