/// Records of one database on their way into another.
#pragma once

#include "host/store/database_writer.hpp"
#include "host/upkeep/record_guard.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

struct MergeCounts {
    std::size_t stored = 0;
    std::size_t known = 0;     ///< the same transition state was there
    std::vector<Error> damage; ///< of each record that could not be read
};

/// Nobody else may write to the database meanwhile: see FileLock.
class Merging {
public:
    /// The database may be missing. Throws Error as DatabaseWriter does.
    explicit Merging(const std::string &database)
        : database_(database), index_(database), writer_(database) {}

    /// Take the records byte for byte, with their lines. Throws Error if the other file is no
    /// database, or the same one.
    MergeCounts take(const std::string &other);

    /// Write what was taken. Throws Error if that cannot be done.
    void commit() { writer_.commit(); }

private:
    std::string database_;
    DuplicateIndex index_;
    DatabaseWriter writer_;
};

} // namespace saddlefit::host
