/// Saddle points that were found, as records for a database.
#pragma once

#include "host/answers/answer.hpp"
#include "host/answers/saddle_questions.hpp"

#include <string>

namespace saddlefit::host {

/// SD records, as many in each text and in the same order.
struct LearnedSaddles {
    std::string reactants;
    std::string products;
    std::string saddles;
};

/// The first-order saddle points of an answer whose ends differ in their bonds: one between both
/// sides under the reaction as it is drawn, any other under the reaction of its ends, with bonds
/// that are perceived from their coordinates. Each is titled by the reaction, the level and, where
/// it is another one's, "other ends"; of several of a kind the lowest counts. Level, energies, mode
/// and how it was verified stand in data fields.
LearnedSaddles learnedSaddles(const Reaction &reaction, const Answer &answer);

/// The saddle point of a geometry under the reaction of its ends, which stand in the order of the
/// descents: at most one, titled by the geometry. Of the data fields of its record those are kept
/// that the verification does not tell.
LearnedSaddles learnedSaddle(const SaddleQuestion &question, const ReactionSaddle &saddle);

} // namespace saddlefit::host
