// What keeps a record out of a database.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/store/database_writer.hpp"
#include "host/upkeep/shape.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

// What is wrong with a transition state, a phrase each: a made or broken bond that is outside 1.03
// to 2.0 lengths of a single bond, two atoms closer than 0.6 angstrom.
std::vector<std::string> implausibilities(const Reaction &reaction);

// Finds records that are in a database already.
class DuplicateIndex {
public:
    // Takes in the sound records; the writer must outlive the index.
    explicit DuplicateIndex(const DatabaseWriter &writer);

    // Take in a record that was placed since.
    void add(const Block &block);

    // The name of a stored record with the same code and shape which either lists the same
    // coordinates or answers the reaction's question exactly.
    std::optional<std::string> find(const StoredRecord &record, const Reaction &reaction) const;

private:
    struct Entry {
        Shape shape;
        Block block;
    };
    const DatabaseWriter &writer_;
    std::map<std::vector<int>, std::vector<Entry>> byCode_;
};

} // namespace saddlefit::host
