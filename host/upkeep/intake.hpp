/// Transition states on their way into a database.
#pragma once

#include "host/store/database_writer.hpp"
#include "host/upkeep/record_guard.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// What becomes of one.
enum class Intaken {
    stored,     ///< to be asked like all others
    lastResort, ///< implausible: stored with a mark, to be asked where nothing else matches
    refused     ///< stored already
};

template <>
inline constexpr auto
    wordsFor<Intaken> = std::to_array<Word<Intaken>>({{Intaken::stored, "stored"},
                                                      {Intaken::lastResort, "last resort"},
                                                      {Intaken::refused, "refused"}});

struct IntakeResult {
    Intaken became = Intaken::stored;
    std::vector<int> code;
    std::vector<Objection> objections; ///< also against what was forced
};

/// Nobody else may write to the database meanwhile: see FileLock.
class Intake {
public:
    /// The database may be missing. If forced, everything is stored without a mark. Throws Error as
    /// DatabaseWriter does, and if the file is no database.
    Intake(const std::string &database, bool forced)
        : database_(database), forced_(forced), index_(database), writer_(database) {}

    /// Take the reaction at its coordinates, which are the transition state's, under the title of
    /// its geometry. What is known of it goes beside the database; its digest, name, quality and
    /// objections are set here. A record that is stored already, byte for byte, gets what is known
    /// of it if nothing was. Throws Error, with an origin, if it cannot be stored.
    IntakeResult take(const Reaction &reaction, SideRecord known);

    /// Write what was taken. Throws Error if that cannot be done.
    void commit();

private:
    std::string database_;
    bool forced_;
    DuplicateIndex index_;
    DatabaseWriter writer_;
    std::vector<SideRecord> ofStored_; ///< perhaps
};

/// Of several ways to pair the atoms the one that the transition state itself shows: its broken and
/// formed bonds are the shortest together.
Reaction tightest(const std::vector<Reaction> &pairings);

} // namespace saddlefit::host
