/// What "react" does for each reaction.
#pragma once

#include "cli/batch/delivery.hpp"
#include "cli/react_options.hpp"
#include "host/answers/best_map.hpp"
#include "host/search/stored_reactions.hpp"

#include <string>
#include <vector>

namespace saddlefit::cli {

/// In a worker process.
class ReactionWork {
public:
    ReactionWork(const ReactOptions &options, const AnswerOptions &answerOptions,
                 const std::vector<AnswerOutput> &outputs, const ReactionReader &reader,
                 const StoredReactions &stored)
        : options_(options),
          answerOptions_(answerOptions),
          outputs_(outputs),
          reader_(reader),
          stored_(stored) {}

    Delivery operator()(std::size_t item) const;

    /// Of a reaction that could not be answered.
    Delivery failure(std::size_t item, const std::string &what) const;

private:
    Delivery answered(const MappedAnswer &mapped) const;

    const ReactOptions &options_;
    const AnswerOptions &answerOptions_;
    const std::vector<AnswerOutput> &outputs_;
    const ReactionReader &reader_;
    const StoredReactions &stored_;
};

} // namespace saddlefit::cli
