/// The options of "saddlefit react".
#pragma once

#include "cli/answer_output.hpp"
#include "cli/batch/batch.hpp"
#include "cli/host.hpp"
#include "host/answers/answer.hpp"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace saddlefit::cli {

struct ReactOptions {
    ReactionFiles files;
    std::string database;
    Start start = Start::mean;
    Orders orders = Orders::harmonised;
    PairOptions pairing;
    BareSideOptions bareSides;
    AnswerOptions answer;
    std::string output; ///< these three are empty where no such file is wanted
    std::string xyz;
    std::string json;
    std::string constraintProgram;
    std::string constraintFolder = ".";
    BatchOptions batch;
    bool resume = false;
    std::size_t shard = 1; ///< of `shards`, from 1
    std::size_t shards = 1;
    bool verbose = false;

    /// Throws Error if two outputs, or an output and the database, are the same file.
    void requireOtherFiles() const;

    /// Where the answers go. Throws Error for an output in a format that is not written.
    std::vector<AnswerOutput> outputs(std::size_t reactions) const;

    /// "0007-title", the name of a reaction's input file without its suffix
    std::string constraintStem(const Reaction &reaction) const;
    /// "DIR/0007-title.inp"
    std::string constraintPath(const Reaction &reaction) const;

    /// Take over what is given as text; throws CLI::ValidationError on anything without a meaning.
    void settle();

    std::string startText = "mean";
    std::string stagesText = "full,sigma,lengths";
    std::string shardText;
};

void addReactOptions(CLI::App &command, ReactOptions &options);

} // namespace saddlefit::cli
