/// Saddle points whose reactions nobody has drawn, on their way into a database.
#pragma once

#include "cli/host.hpp"
#include "host/answers/learned_saddles.hpp"
#include "host/answers/saddle_questions.hpp"

#include <string>
#include <vector>

namespace saddlefit::cli {

struct OwnEnds {
    LearnedSaddles records;
    std::vector<std::string> failed; ///< titles of those that are no saddle point of a reaction
};

/// Verify each geometry of a file as "saddlefit verify" does, and take the minima at its ends for
/// reactant and product. What is none is reported. Throws Error if the file cannot be read, or the
/// method cannot be used here.
OwnEnds ownEndsOf(const SaddleQuestionFiles &files, const SaddleOptions &options);

} // namespace saddlefit::cli
