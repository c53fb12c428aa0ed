/// Thousands of items in worker processes.
#pragma once

#include "cli/batch/delivery.hpp"
#include "cli/batch/streamed_file.hpp"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace saddlefit::cli {

struct BatchOptions {
    int jobs = 1;
    double timeout = 0;            ///< seconds for each item; 0: none
    bool linesAreMessages = false; ///< what else is printed goes to standard error, too
    bool quiet = false; ///< of items that did not fail nothing is printed, and there is no bar
};

/// Makes the delivery of an item whose worker was ended or has died; it counts as failed. `what`
/// goes on from the item's name: "took longer than 30 s", or "the worker ended with signal 11".
using Mishap = std::function<Delivery(std::size_t item, const std::string &what)>;

struct BatchResult {
    std::size_t done = 0;     ///< items that were written, failed ones among them
    std::size_t failed = 0;   ///< how many of them
    bool interrupted = false; ///< by SIGINT or SIGTERM, before all were done
    std::map<std::string, std::size_t> outcomes; ///< how many of each; failed ones have none
};

/// Does the work for each item in `jobs` worker processes, also where that is one: a crash costs
/// one item, and there is a single way to go.
///
/// Deliveries are written in the order of the items, each as soon as those before it are: its
/// pieces to the output files, its line to standard output, its messages to standard error. So all
/// that is written is the same for any number of jobs. A warning that several items have is printed
/// with the first of them, and at the end how many more have it. On a terminal a bar on standard
/// error shows how far it has come.
///
/// At the first SIGINT or SIGTERM the workers are ended; what was written by then is whole. The
/// caller leaves the files unfinished, and may go on behind resumeAfter() another time.
///
/// `take`, where it is given, gets each delivery in its turn, too.
///
/// Throws Error if a file or standard output cannot be written, or no process can be started.
/// SIGPIPE is ignored from then on.
BatchResult runBatch(const std::vector<std::size_t> &items, const Work &work, const Mishap &mishap,
                     const BatchOptions &options, const std::vector<StreamedFile *> &outputs,
                     const std::function<void(const Delivery &)> &take = {});

} // namespace saddlefit::cli
