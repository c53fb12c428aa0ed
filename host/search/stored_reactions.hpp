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

    /// Go through the file now, where otherwise questions would: processes that are forked later
    /// have what is found. Codes lead to their records; a survey is what the stage "sigma" and
    /// usual lengths need.
    void noteCodes() const;
    void survey() const { surveyUntil({}); }

    /// A survey that throws Deadline::Passed if it has not come to its end by then.
    void surveyUntil(const std::optional<Deadline> &deadline) const;

    /// As LengthEstimate::lengthsIn() gives them. Without a survey the first questions look no
    /// further into the stored reactions than each of them needs.
    UsualLengths usualLengthsIn(const Molecule &transitionState, double m) const;

    /// Where a question of a stage with this code finds all its candidates, in file order.
    OpenReactions askedFor(Stage stage, const Code &code) const;

private:
    using CodesBySigma = std::map<Code, std::set<Code>>; ///< those of records, by their picture's

    OpenReactions sigmaPictures(const Code &code) const;
    const CodesBySigma &codesBySigma() const;
    const LengthEstimate &lengthsFor(const WantedKeys &keys) const;
    void surveyAll(const std::optional<Deadline> &deadline) const;
    static void note(Molecule &stored, CodesBySigma &codes);

    bool empty_;
    OpenReactions file_;
    mutable std::mutex mutex_; ///< of all below
    mutable std::optional<CodesBySigma> codesBySigma_;
    mutable std::optional<LengthEstimate> allLengths_;
    mutable std::map<WantedKeys, LengthEstimate> someLengths_;
};

} // namespace saddlefit::host
