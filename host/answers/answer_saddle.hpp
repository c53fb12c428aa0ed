/// From an answer's guess to the saddle point of its reaction.
#pragma once

#include "host/answers/answer.hpp"

#include <string>

namespace saddlefit::host {

/// Search from the guess and, where that does not verify, as `saddleOf` goes on; a start beside the
/// guess is what the database's usual lengths make of the reaction. Minima that the reaction was
/// not known to have are named by their SMILES where Open Babel can be had. A method that cannot
/// compute the molecule makes the outcome "failed".
/// @param options its member `saddle` is set
/// Throws Error if the method cannot be used on this machine.
ReactionSaddle saddleFor(const Reaction &reaction, const Answer &answer,
                         const StoredReactions &stored, const AnswerOptions &options);

/// The same for a task of one's own: searched for, or verified as its first start stands.
ReactionSaddle namedSaddle(const SaddleTask &task, const SaddleOptions &options, bool searches);

/// "C#N>>[C-]#[NH+]", of the ends of a saddle; empty where they have no names.
std::string reactionOver(const SaddleTry &saddle);

} // namespace saddlefit::host
