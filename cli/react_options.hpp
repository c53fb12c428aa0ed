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

// What the inputs for other programs are to do.
enum class Job {
    opt, // optimise the rest under constraints
    ts   // search for the saddle point
};

} // namespace saddlefit::cli

template <>
inline constexpr auto saddlefit::host::wordsFor<saddlefit::cli::Job> =
    std::to_array<saddlefit::host::Word<saddlefit::cli::Job>>({{saddlefit::cli::Job::opt, "opt"},
                                                               {saddlefit::cli::Job::ts, "ts"}});

namespace saddlefit::cli {

struct ReactOptions {
    ReactionFiles files;
    std::string database;
    bool takesCollection = false; // for no database was named
    Start start = Start::mean;
    Orders orders = Orders::harmonised;
    PairOptions pairing;
    BareSideOptions bareSides;
    AnswerOptions answer;
    std::string output; ///< these four are empty where no such file is wanted
    std::string xyz;
    std::string json;
    std::string html;
    std::string constraintProgram;
    std::string constraintFolder = ".";
    Job job = Job::opt;
    std::string learnInto; // empty: nothing is learned
    BatchOptions batch;
    bool resume = false;
    std::size_t shard = 1; ///< of `shards`, from 1
    std::size_t shards = 1;
    bool verbose = false;

    /// Throws Error if two outputs, or an output and the database, are the same file.
    void requireOtherFiles() const;

    /// Where the answers go. Throws Error for an output in a format that is not written.
    std::vector<AnswerOutput> outputs(std::size_t reactions) const;
    // Whether there will be a file of JSON lines, which can be read again.
    bool keepsJson() const;

    /// "0007-title", the name of a reaction's input file without its suffix
    std::string constraintStem(const Reaction &reaction) const;
    /// "DIR/0007-title.inp"
    std::string constraintPath(const Reaction &reaction, const std::string &suffix) const;

    /// Take over what is given as text; throws CLI::ValidationError on anything without a meaning.
    void settle();

    std::string startText = "mean";
    std::string stagesText = "full,sigma,lengths";
    std::string shardText;
    bool searchesSaddle = false;
    SaddleOptions saddle; // taken over into `answer` if it searches
};

void addReactOptions(CLI::App &command, ReactOptions &options);

} // namespace saddlefit::cli
