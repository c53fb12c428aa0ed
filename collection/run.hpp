#pragma once

#include "collection/journal.hpp"
#include "collection/work_list.hpp"

#include <functional>
#include <string>

namespace saddlefit::collection {

struct RunOptions {
    std::string state; ///< the folder of the journal
    WorkOptions work;
    std::size_t mostAttempts = 0; ///< in this run, 0 for no limit
    int watchdog = 3600;          ///< seconds without a word, after which an attempt is given up
};

/// Go on with the work list where the journal stands, to its end or the limit. Each entry is done
/// by a process of its own, so that one which libxtb or Open Babel brings down costs one attempt.
/// `tell` hears of each attempt. Throws Error.
void run(const std::vector<Family> &families, const std::vector<std::string> &molecules,
         const RunOptions &options, const std::function<void(const AttemptLine &)> &tell);

} // namespace saddlefit::collection
