#pragma once

#include "collection/trial.hpp"
#include "host/system/json.hpp"

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace saddlefit::collection {

/// One line of the table of attempts.
struct AttemptLine {
    std::string entry; ///< of the work list
    int number = 0;    ///< within the entry, from 0; -1 for the line that closes it
    std::string family;
    std::string outcome;
    std::string hash; ///< of the reaction that was found, or set out for; "-" if neither
    int gradients = 0;
    /// A reaction that was not known.
    bool accepted() const { return outcome.starts_with("accepted"); }
    /// Also a lower saddle of a known one.
    bool hasRecord() const { return accepted() || outcome == lowerOutcome; }
    static constexpr const char *lowerOutcome = "lower than known";
};
std::string textOf(const AttemptLine &line);
AttemptLine attemptFrom(const std::string &text);

/// The side record of a saddle, with all of its geometries (angstrom).
host::Json recordOf(const VerifiedSaddle &saddle);
VerifiedSaddle saddleFrom(const host::Json &record);

/// What has been tried: `attempts.tsv` and `records.jsonl` in a folder, both only ever added to. A
/// record is written before the line of its attempt, so that a kill leaves at most a record without
/// a line, which is cut off when the journal is opened again, as is half a line.
class Journal {
public:
    /// Throws Error.
    explicit Journal(const std::string &folder);
    ~Journal();
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    void add(const AttemptLine &line, const std::string &record);

    const std::vector<AttemptLine> &lines() const { return lines_; }
    const std::vector<host::Json> &records() const { return records_; }
    /// Hashes of accepted reactions, with the energies of their lowest saddles, hartree.
    const std::map<std::string, double> &known() const { return known_; }
    int acceptedOf(const std::string &family) const;
    /// The number of attempts of an entry; nothing beyond them if it is closed.
    int attemptsOf(const std::string &entry) const;
    bool isClosed(const std::string &entry) const { return closed_.contains(entry); }

private:
    void note(const AttemptLine &line);
    void keep(const std::string &record);
    std::vector<AttemptLine> lines_;
    std::vector<host::Json> records_;
    std::map<std::string, double> known_;
    std::set<std::string> closed_;
    std::map<std::string, int> accepted_, attempts_;
    std::FILE *attemptsFile_ = nullptr;
    std::FILE *recordsFile_ = nullptr;
};

} // namespace saddlefit::collection
