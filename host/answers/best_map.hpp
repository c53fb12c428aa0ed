/// One answer where the atoms of a reaction can be paired in several ways.
#pragma once

#include "host/answers/answer.hpp"

#include <vector>

namespace saddlefit::host {

struct MappedAnswer {
    Reaction reaction; ///< with the pairing that was chosen
    Answer answer;     ///< names the others as rivals
};

/// Ask with each pairing, and choose: an exact match before all, then where the atoms do not move
/// much farther than they have to, then the best match: partial before none, an earlier stage
/// before a later one, the nearer to its start geometry. Of equal ones the first. A saddle point
/// that is wanted is searched for from the chosen one.
/// @param pairings at least one, the likeliest first
/// Throws Error as `answerTo` does.
MappedAnswer bestAnswer(const std::vector<Reaction> &pairings, const StoredReactions &stored,
                        const AnswerOptions &options);

} // namespace saddlefit::host
