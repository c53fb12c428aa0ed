/// A database asked for its own records.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/search/open_search.hpp"
#include "host/store/database_file.hpp"
#include "host/system/words.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

/// What is left out when a record is asked of the others.
enum class LeaveOut {
    record, ///< itself
    family  ///< all records of its family, as far as it is known beside the database
};

template <>
inline constexpr auto wordsFor<LeaveOut> =
    std::to_array<Word<LeaveOut>>({{LeaveOut::record, "record"}, {LeaveOut::family, "family"}});

struct BondPrediction {
    AtomPair atoms;
    double predicted = 0.0; ///< angstrom
    double stored = 0.0;
};

/// What came of one record.
struct RecordCheck {
    std::size_t position = 0;
    std::string problem;              ///< why it does not answer for itself; empty if it does
    bool asked = false;               ///< whether the rest was asked for it
    std::optional<std::size_t> from;  ///< the record that the rest answered with
    std::vector<BondPrediction> ends; ///< made and broken bonds that the answer has
};

class Validation {
public:
    /// The database must outlive this.
    explicit Validation(const Database &database, LeaveOut leaveOut = LeaveOut::record);

    /// The sound records, those of equal code together.
    std::vector<std::size_t> positions() const;

    /// Positions of the damaged records, with what is wrong.
    const std::map<std::size_t, std::string> &damaged() const { return damaged_; }

    /// Ask all records of the same code for this one, and then the others.
    RecordCheck check(std::size_t position) const;

private:
    using Code = std::vector<int>;

    OwnedResult answerTo(const Reaction &reaction, const std::vector<int> &leftOut) const;
    std::size_t positionOf(const SearchResult &result) const;
    void checkItself(const Reaction &reaction, RecordCheck &check) const;
    void predict(const Reaction &reaction, RecordCheck &check) const;
    void noteFamilies();
    std::vector<int> leftOutWith(std::size_t position) const;

    const Database &database_;
    OpenReactions open_;
    std::map<Code, std::vector<std::size_t>> byCode_;
    std::map<std::size_t, std::string> damaged_;
    std::vector<int> leftOut_;                        ///< the damaged ones
    std::map<std::string, std::vector<int>> members_; ///< of each family, where they are left out
    std::map<std::size_t, std::string> families_;     ///< likewise, by position
};

} // namespace saddlefit::host
