// A database asked for its own records.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/store/database_file.hpp"
#include "host/system/temporary_file.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

struct BondPrediction {
    AtomPair atoms;
    double predicted = 0.0; // angstrom
    double stored = 0.0;
};

// What came of one record.
struct RecordCheck {
    std::size_t position = 0;
    std::string problem;              // why it does not answer for itself; empty if it does
    bool asked = false;               // whether the rest was asked for it
    std::optional<std::size_t> from;  // the record that the rest answered with
    std::vector<BondPrediction> ends; // made and broken bonds that the answer has
};

class Validation {
public:
    // The database must outlive this.
    explicit Validation(const Database &database);

    // The sound records, those of equal code together: one after the other they are checked
    // fastest.
    std::vector<std::size_t> positions() const;

    // Positions of the damaged records, with what is wrong.
    const std::map<std::size_t, std::string> &damaged() const { return damaged_; }

    // Ask all records of the same code for this one, and then the others.
    RecordCheck check(std::size_t position);

private:
    using Code = std::vector<int>;

    // The records of one code, named by their positions.
    struct Group {
        Code code;
        std::map<std::size_t, std::string> blocks;
        TemporaryFile all, others; // all of them, and all but one
    };

    void gather(const Code &code);
    void checkItself(const Reaction &reaction, RecordCheck &check);
    void predict(const Reaction &reaction, RecordCheck &check);

    const Database &database_;
    std::map<Code, std::vector<std::size_t>> byCode_;
    std::map<std::size_t, std::string> damaged_;
    std::unique_ptr<Group> group_; // that was asked last; its files belong to one process
};

} // namespace saddlefit::host
