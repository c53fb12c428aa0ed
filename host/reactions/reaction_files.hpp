/// Reactions out of files that belong together record by record.
#pragma once

#include "host/reactions/bare_sides.hpp"
#include "host/reactions/drawing.hpp"
#include "host/reactions/pairing.hpp"
#include "host/reactions/side_source.hpp"
#include "host/reactions/transitions.hpp"
#include "host/structures/reader.hpp"
#include "host/system/words.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

/// Record i of each file is the same reaction. The geometries list their atoms as the reactants do.
struct ReactionFiles : SideFiles {
    std::string geometries; ///< for Start::file only
};

/// Where the coordinates of a reaction are from.
enum class Start {
    reactant,
    product,
    mean, ///< half-way; of the reactant where the product has no coordinates
    file  ///< ReactionFiles::geometries
};

/// Of those that need no file.
template <>
inline constexpr auto wordsFor<Start> = std::to_array<Word<Start>>({{Start::reactant, "reactant"},
                                                                    {Start::product, "product"},
                                                                    {Start::mean, "mean"}});

struct Reaction {
    std::size_t number = 0;    ///< of its records in the files, from 1
    std::string title;         ///< the reactant's; "record 3" where it has none
    std::string geometryTitle; ///< of the record that the coordinates are from; as above
    std::map<std::string, std::string> geometryFields; ///< of that record, for Start::file only
    Structure reactant;            ///< with its bond orders as they were compared
    Structure product;             ///< with its atoms in the reactant's order
    std::vector<int> productAtoms; ///< their places in the record; empty where these are the same
    std::vector<Position> coordinates; ///< to begin with
    bool startsBetween = false;        ///< whether these are between those of the sides
    std::vector<BondChange> changes;
    std::vector<Transition> transitions;
    std::vector<std::string> pairingNotes; ///< sentences about how the atoms were paired
    bool movesFar = false; ///< whether the atoms move clearly less if they are paired otherwise
    std::vector<std::string> warnings; ///< sentences about what is doubtful in the records
};

/// Atoms of bonds that change, ascending.
std::vector<int> centreOf(const std::vector<BondChange> &changes);

/// Reads each reaction when it is asked for, so that one that is passed over costs next to nothing.
class ReactionReader {
public:
    /// Throws Error when the files as such cannot be read or do not fit together.
    ReactionReader(const ReactionFiles &files, Start start, Orders orders,
                   const PairOptions &pairing = {}, const BareSideOptions &bareSides = {});

    /// One reaction, which is in memory; see givenSides(). Where there is a geometry it starts
    /// there.
    ReactionReader(std::shared_ptr<const SideSource> sides,
                   const std::optional<Structure> &geometry, Start start, Orders orders,
                   const PairOptions &pairing = {}, const BareSideOptions &bareSides = {});

    std::size_t count() const { return sides_->count(); }

    /// Also of one that cannot be read.
    std::string title(std::size_t index) const { return sides_->title(index); }

    /// Of the reactant; also of one that cannot be read.
    Place origin(std::size_t index) const { return sides_->origin(index); }

    /// Several where the atoms can be paired in several ways that break and form equally few bonds;
    /// those that are likelier by geometry first.
    /// Throws Error if there is no reaction to be had from the records: one of them is broken,
    /// atoms differ, no bond changes, or so many that the atoms must be numbered differently.
    std::vector<Reaction> read(std::size_t index) const;

    /// The same without coordinates, titles and warnings: what the reaction is, at little cost.
    std::vector<Reaction> readChanges(std::size_t index) const;

private:
    std::vector<Position> coordinatesOf(std::size_t index, const Reaction &reaction) const;
    std::vector<Reaction> readPaired(std::size_t index, bool withCoordinates) const;
    Sides sidesOf(std::size_t index, bool withCoordinates) const;
    Reaction reactionOf(std::size_t index, const Sides &sides) const;

    Start start_;
    Orders orders_;
    PairOptions pairing_;
    BareSideOptions bareSides_;
    std::shared_ptr<const SideSource> sides_;
    std::optional<RecordFile> geometries_; ///< for Start::file only
};

} // namespace saddlefit::host
