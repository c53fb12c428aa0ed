/// What keeps a record out of a database.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/store/database_file.hpp"
#include "host/upkeep/shape.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

/// What is wrong with a transition state, a phrase each: a made or broken bond that is outside 1.03
/// to 2.0 lengths of a single bond, two atoms closer than 0.6 angstrom.
std::vector<std::string> implausibilities(const Reaction &reaction);

/// Finds records that are in a database already.
class DuplicateIndex {
public:
    /// Takes in the sound records of a database, which may be missing. Throws Error if the file is
    /// no database.
    explicit DuplicateIndex(const std::string &path);

    /// Take in a record that was placed since, with its bytes.
    void add(const StoredRecord &record, std::string bytes);

    /// The name of a stored record with the same code and shape which either lists the same
    /// coordinates or answers the reaction's question exactly.
    std::optional<std::string> find(const StoredRecord &record, const Reaction &reaction) const;

private:
    struct Entry {
        Shape shape;
        std::size_t position = 0; ///< in the database
        std::string bytes;        ///< of a new record
    };
    StoredRecord recordOf(const Entry &entry) const;

    std::optional<Database> database_;
    std::map<std::vector<int>, std::vector<Entry>> byCode_;
};

} // namespace saddlefit::host
