/// The database as the stages need it.
#pragma once

#include "host/reactions/deadline.hpp"
#include "host/search/length_estimate.hpp"
#include "host/search/open_search.hpp"
#include "host/search/stages.hpp"
#include "host/store/side_record.hpp"

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace saddlefit::host {

using Code = std::vector<int>; ///< as codeOf() gives it

/// What a question is put to.
struct Asked {
    OpenReactions database;
    std::vector<int> leftOut; ///< ordinals of records in it that are not asked
};

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

    /// Whether it has records that are asked only where no other matches: those that are marked as
    /// refused in the file beside it.
    bool hasLastResorts() const { return !refused_.empty(); }

    /// As LengthEstimate::lengthsIn() gives them, by guarded records alone. Without a survey the
    /// first questions look no further into the stored reactions than each of them needs.
    UsualLengths usualLengthsIn(const Molecule &transitionState, double m) const;

    /// Where a question of a stage with this code finds all its candidates of a quality, in file
    /// order.
    Asked askedFor(Stage stage, const Code &code, Quality quality = Quality::guarded) const;

private:
    using CodesBySigma = std::map<Code, std::set<Code>>; ///< those of records, by their picture's

    bool isRefused(Molecule &stored) const;
    OpenReactions sigmaPictures(const Code &code, Quality quality) const;
    const CodesBySigma &codesBySigma() const;
    LengthEstimate counted(const WantedKeys &keys) const;
    const LengthEstimate &lengthsFor(const WantedKeys &keys) const;
    void surveyAll(const std::optional<Deadline> &deadline) const;
    static void note(Molecule &stored, CodesBySigma &codes);

    bool empty_;
    OpenReactions file_;
    std::multimap<std::string, std::string> refused_; ///< digests by name
    mutable std::mutex mutex_;                        ///< of all below
    mutable std::optional<CodesBySigma> codesBySigma_;
    mutable std::optional<LengthEstimate> allLengths_; ///< once surveyed
    mutable std::map<WantedKeys, LengthEstimate> someLengths_;
};

} // namespace saddlefit::host
