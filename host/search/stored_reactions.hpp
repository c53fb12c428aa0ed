/// The database as the stages need it.
#pragma once

#include "host/reactions/deadline.hpp"
#include "host/search/length_estimate.hpp"
#include "host/search/open_search.hpp"
#include "host/search/stages.hpp"

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace saddlefit::host {

using Code = std::vector<int>; ///< as codeOf() gives it

/// Threads may share one. It reads what a question needs, when it is asked.
class StoredReactions {
public:
    /// Throws Error unless there is a sound database at `path`, told by its blocks up to the first
    /// record.
    explicit StoredReactions(const std::string &path);

    bool empty() const { return empty_; }

    /// Go through the file now, where otherwise the first question would: processes that are forked
    /// later have what is found. Codes lead to their records; a survey is what the stage "sigma"
    /// and usual lengths need.
    void noteCodes() const;
    void survey() const { surveyUntil({}); }

    /// A survey that throws Deadline::Passed if it has not come to its end by then.
    void surveyUntil(const std::optional<Deadline> &deadline) const;

    const LengthEstimate &lengths() const;

    /// Where a question of a stage with this code finds all its candidates, in file order.
    OpenReactions askedFor(Stage stage, const Code &code) const;

private:
    OpenReactions sigmaPictures(const Code &code) const;
    void count(Molecule &stored) const;

    bool empty_;
    OpenReactions file_;
    mutable std::once_flag surveyed_;
    mutable std::map<Code, std::set<Code>> codesBySigma_; ///< those of records, by their picture's
    mutable LengthEstimate lengths_;
};

} // namespace saddlefit::host
