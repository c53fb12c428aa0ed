#include "cli/reaction/reaction_files.hpp"

#include "cli/files/elements.hpp"

namespace saddlefit::cli {

namespace {

std::string countOf(const std::string &path, const std::vector<Record> &records) {
    return path + " has " + std::to_string(records.size());
}

void requireSameCount(const std::string &path, const std::vector<Record> &records,
                      const std::string &otherPath, const std::vector<Record> &others) {
    if (records.size() == others.size()) return;
    throw UserError(countOf(path, records) + " records, but " + countOf(otherPath, others) +
                    "; record by record the files must hold the same reactions");
}

struct Sides {
    std::vector<Record> reactants;
    std::vector<Record> products;
    std::vector<Record> geometries;
};

Sides readSides(const ReactionFiles &files) {
    Sides sides{readRecords(files.reactants), readRecords(files.products), {}};
    requireSameCount(files.products, sides.products, files.reactants, sides.reactants);
    if (!files.geometries.empty()) {
        sides.geometries = readRecords(files.geometries);
        requireSameCount(files.geometries, sides.geometries, files.reactants, sides.reactants);
    }
    return sides;
}

// All atoms in one place: a format without coordinates, or a drawing that was never laid out.
void requireCoordinates(const Structure &structure) {
    if (hasCoordinates(structure.atoms)) return;
    throw UserError(structure.origin + ": the record has no coordinates; make a three-dimensional "
                                       "structure of it first");
}

std::string titleOr(const std::string &title, const std::string &other) {
    return title.empty() ? other : title;
}

Reaction assembled(const Sides &sides, std::size_t index) {
    Reaction reaction;
    reaction.reactant = structureOf(sides.reactants[index]);
    reaction.product = structureOf(sides.products[index]);
    requireSameAtoms(reaction.product, reaction.reactant);
    const Structure &geometry =
        sides.geometries.empty() ? reaction.reactant : structureOf(sides.geometries[index]);
    requireSameAtoms(geometry, reaction.reactant);
    requireCoordinates(geometry);
    for (const auto &atom : geometry.atoms)
        reaction.coordinates.push_back(atom.position);
    reaction.title = titleOr(reaction.reactant.title, "record " + std::to_string(index + 1));
    reaction.geometryTitle = titleOr(geometry.title, reaction.title);
    reaction.changes = changedBonds(reaction.reactant, reaction.product);
    reaction.transitions = deriveTransitions(reaction.changes);
    if (!reaction.transitions.empty()) return reaction;
    throw UserError(reaction.product.origin +
                    ": no bond differs from the reactant's record, so there is no reaction; draw "
                    "the bonds as they are after the reaction");
}

} // namespace

void requireSameAtoms(const Structure &structure, const Structure &other) {
    const std::string demand =
        " (" + other.origin + "); both must list the same atoms in the same order";
    if (structure.atoms.size() != other.atoms.size()) {
        throw UserError(structure.origin + ": has " + std::to_string(structure.atoms.size()) +
                        " atoms, the reaction " + std::to_string(other.atoms.size()) + demand);
    }
    for (std::size_t i = 0; i < structure.atoms.size(); ++i) {
        const int element = structure.atoms[i].element;
        const int wanted = other.atoms[i].element;
        if (element == wanted) continue;
        throw UserError(structure.origin + ": atom " + std::to_string(i + 1) + " is " +
                        elementSymbol(element) + ", in the reaction " + elementSymbol(wanted) +
                        demand);
    }
}

int forEachReaction(const ReactionFiles &files, const std::function<void(const Reaction &)> &work) {
    const Sides sides = readSides(files);
    int failures = 0;
    for (std::size_t i = 0; i < sides.reactants.size(); ++i) {
        try {
            work(assembled(sides, i));
        } catch (const UserError &error) {
            report(error);
            ++failures;
        }
    }
    return failures;
}

} // namespace saddlefit::cli
