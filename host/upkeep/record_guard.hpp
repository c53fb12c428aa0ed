/// What keeps a record out of a database.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/store/database_file.hpp"
#include "host/system/words.hpp"
#include "host/upkeep/shape.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

enum class ObjectionKind { tooShort, tooLong, tooClose, storedAlready };

template <>
inline constexpr auto wordsFor<ObjectionKind> = std::to_array<Word<ObjectionKind>>(
    {{ObjectionKind::tooShort, "a made or broken bond is as short as a finished one"},
     {ObjectionKind::tooLong, "a made or broken bond is beyond 2.0 single bonds"},
     {ObjectionKind::tooClose, "two atoms are too close to each other"},
     {ObjectionKind::storedAlready, "the same transition state is stored"}});

struct Objection {
    ObjectionKind kind;
    std::string text; ///< a phrase
};

/// What is wrong with a transition state. A made or broken bond is too short below 1.03 times its
/// length on the side of the reaction that has it: it is not begun, or not broken at all. Where
/// that side has no coordinates, or a bond that is itself stretched by a tenth, single bonds count.
/// Too long are 2.0 of them. Two atoms are too close below 0.6 angstrom.
std::vector<Objection> implausibilities(const Reaction &reaction);

/// Finds records that are in a database already.
class DuplicateIndex {
public:
    /// Takes in the sound records of a database, which may be missing. Throws Error if the file is
    /// no database.
    explicit DuplicateIndex(const std::string &path);

    /// Take in a record that was placed since, with its bytes.
    void add(const StoredRecord &record, std::string bytes);

    /// The name of a stored record with the same code and shape which either lists the same
    /// coordinates or answers the reaction's question exactly, if there is a reaction.
    std::optional<std::string> find(const StoredRecord &record,
                                    const std::optional<Reaction> &reaction) const;

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
