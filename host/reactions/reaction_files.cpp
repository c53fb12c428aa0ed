#include "host/reactions/reaction_files.hpp"

#include "host/reactions/doubts.hpp"
#include "host/reactions/settled_drawing.hpp"
#include "host/reactions/side_placement.hpp"
#include "host/reactions/start_geometry.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/labels.hpp"

#include <set>
#include <utility>

namespace saddlefit::host {

namespace {

// An elementary reaction changes few bonds. More of them mean that the atoms of the two sides are
// numbered differently.
constexpr std::size_t mostChanges = 10;

/// The structure of a record; throws the reason if there is none.
Structure structureIn(const RecordFile &file, std::size_t index) {
    return structureOf(file.read(index));
}

// All atoms in one place: a format without coordinates, or a drawing that was never laid out.
void requireCoordinates(const Structure &structure) {
    if (hasCoordinates(structure.atoms)) return;
    throw Error("the record has no coordinates; make a three-dimensional structure of it first")
        .at(structure.origin);
}

std::string titleOr(const std::string &title, const std::string &other) {
    return title.empty() ? other : title;
}

void bringToOneDrawing(Structure &reactant, Structure &product, Orders orders) {
    if (orders == Orders::drawn) return;
    joinSeparatedElectrons(reactant, product);
    joinSeparatedElectrons(product, reactant);
}

std::string listOf(const Structure &structure, const std::vector<BondChange> &changes) {
    std::string text;
    for (const auto &change : changes) {
        if (!text.empty()) text += ", ";
        text += bondLabel(structure.atoms, change.atoms);
    }
    return text;
}

void requireReaction(const Reaction &reaction) {
    const auto &changes = reaction.changes;
    if (changes.empty()) {
        throw Error("no bond differs from the reactant's record, so there is no reaction; draw the "
                    "bonds as they are after the reaction")
            .at(reaction.product.origin);
    }
    if (changes.size() <= mostChanges) return;
    throw Error(std::to_string(changes.size()) + " bonds differ from the reactant's record (" +
                listOf(reaction.reactant, changes) +
                "), which is no elementary reaction; number the atoms alike on both sides")
        .at(reaction.product.origin)
        .about(centreOf(changes));
}

std::vector<std::string> warningsAbout(const Reaction &reaction) {
    auto warnings = reaction.pairingNotes;
    const auto doubts = doubtsAbout(reaction.reactant, reaction.product);
    warnings.insert(warnings.end(), doubts.begin(), doubts.end());
    for (const auto &change : reaction.changes) {
        const int steps = stepsBetween(change.before, change.after);
        if (steps < 2) continue;
        warnings.push_back("the order of " + bondLabel(reaction.reactant.atoms, change.atoms) +
                           " changes by " + std::to_string(steps) +
                           " at once; only a stored reaction drawn in the same direction and the "
                           "same way can match it");
    }
    return warnings;
}

Sides inReactantsOrder(const Sides &sides, const Pairing &pairing) {
    auto paired = sides;
    paired.product.structure = pairing.product;
    if (pairing.productAtoms.empty()) return paired;
    std::vector<int> places(pairing.productAtoms.size());
    for (std::size_t i = 0; i < places.size(); ++i)
        places[static_cast<std::size_t>(pairing.productAtoms[i])] = static_cast<int>(i);
    paired.product.marks = renumbered(sides.product.marks, places);
    return paired;
}

/// Only then do the distances between the two sides say how the atoms move.
bool standAsGiven(const Sides &sides) {
    return sides.reactantPlacing == Placing::asGiven && sides.productPlacing == Placing::asGiven;
}

std::vector<Position> positionsIn(const Structure &structure) {
    requireCoordinates(structure);
    return positionsOf(structure.atoms);
}

} // namespace

std::vector<int> centreOf(const std::vector<BondChange> &changes) {
    std::set<int> atoms;
    for (const auto &change : changes) {
        atoms.insert(change.atoms.first);
        atoms.insert(change.atoms.second);
    }
    return {atoms.begin(), atoms.end()};
}

ReactionReader::ReactionReader(const ReactionFiles &files, Start start, Orders orders,
                               const PairOptions &pairing, const BareSideOptions &bareSides)
    : start_(start), orders_(orders), pairing_(pairing), bareSides_(bareSides) {
    requireOneStandardInput(files, files.geometries);
    sides_ = openSides(files, start == Start::file);
    if (start != Start::file) return;
    geometries_.emplace(files.geometries, BondSource::formatOnly, files.format);
    requireSameCount({files.geometries, geometries_->count()}, {sides_->name(), count()});
}

ReactionReader::ReactionReader(std::shared_ptr<const SideSource> sides,
                               const std::optional<Structure> &geometry, Start start, Orders orders,
                               const PairOptions &pairing, const BareSideOptions &bareSides)
    : start_(geometry ? Start::file : start),
      orders_(orders),
      pairing_(pairing),
      bareSides_(bareSides),
      sides_(std::move(sides)) {
    if (geometry) geometries_.emplace(std::vector{Record(*geometry)});
}

std::vector<Position> ReactionReader::coordinatesOf(std::size_t index,
                                                    const Reaction &reaction) const {
    const auto &reactant = reaction.reactant, &product = reaction.product;
    switch (start_) {
    case Start::file: {
        const auto geometry = structureIn(*geometries_, index);
        requireSameAtoms(geometry, reactant);
        return positionsIn(geometry);
    }
    case Start::product:
        return positionsIn(product);
    case Start::mean:
        requireCoordinates(reactant);
        if (!hasCoordinates(product.atoms)) break;
        return meanGeometry(reactant, product, centreOf(reaction.changes));
    case Start::reactant:
        break;
    }
    return positionsIn(reactant);
}

Sides ReactionReader::sidesOf(std::size_t index, bool withCoordinates) const {
    auto sides = sides_->read(index, withCoordinates);
    auto &reactant = sides.reactant.structure, &product = sides.product.structure;
    findBonds(reactant, product, bareSides_);
    if (orders_ == Orders::smiles) { // these name the atoms by their places in the record
        takeSmilesOrders(reactant);
        takeSmilesOrders(product);
    }
    return sides;
}

Reaction ReactionReader::reactionOf(std::size_t index, const Sides &sides) const {
    Reaction reaction;
    reaction.number = index + 1;
    reaction.reactant = sides.reactant.structure;
    reaction.product = sides.product.structure;
    if (bareSides_.finder == BondFinder::openBabel) {
        settleDrawings(reaction.reactant, reaction.product);
    }
    bringToOneDrawing(reaction.reactant, reaction.product, orders_);
    reaction.changes = changedBonds(reaction.reactant, reaction.product);
    if (orders_ != Orders::drawn) reaction.changes = withoutRedrawnRings(reaction.changes);
    requireReaction(reaction);
    reaction.transitions = deriveTransitions(reaction.changes);
    return reaction;
}

std::vector<Reaction> ReactionReader::readPaired(std::size_t index, bool withCoordinates) const {
    const auto sides = sidesOf(index, withCoordinates);
    auto options = pairing_;
    options.order = start_ == Start::file && sides.order == OrderOfAtoms::counts
                        ? OrderOfAtoms::confirmed
                        : sides.order;
    std::vector<Reaction> reactions;
    for (auto &pairing : pairings(sides.reactant.structure, sides.product.structure, options)) {
        auto paired = inReactantsOrder(sides, pairing);
        auto notes = std::move(pairing.notes);
        notes.insert(notes.end(), sides.notes.begin(), sides.notes.end());
        if (withCoordinates) {
            const auto told = placeSides(paired);
            notes.insert(notes.end(), told.begin(), told.end());
        }
        auto &reaction = reactions.emplace_back(reactionOf(index, paired));
        reaction.productAtoms = std::move(pairing.productAtoms);
        reaction.pairingNotes = std::move(notes);
        reaction.movesFar = pairing.movesFar && standAsGiven(sides);
    }
    return reactions;
}

std::vector<Reaction> ReactionReader::readChanges(std::size_t index) const {
    return readPaired(index, false);
}

std::vector<Reaction> ReactionReader::read(std::size_t index) const {
    auto reactions = readPaired(index, start_ != Start::file);
    for (auto &reaction : reactions) {
        reaction.coordinates = coordinatesOf(index, reaction);
        reaction.startsBetween = start_ == Start::mean && hasCoordinates(reaction.product.atoms);
        reaction.title = titleOf(reaction.reactant, index);
        reaction.geometryTitle = reaction.title;
        if (start_ == Start::file) {
            auto geometry = structureIn(*geometries_, index);
            reaction.geometryTitle = titleOr(geometry.title, reaction.title);
            reaction.geometryFields = std::move(geometry.fields);
        }
        reaction.warnings = warningsAbout(reaction);
    }
    return reactions;
}

} // namespace saddlefit::host
