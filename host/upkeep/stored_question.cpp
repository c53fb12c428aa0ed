#include "host/upkeep/stored_question.hpp"

#include "saddlefit/reaction.h"

#include "host/structures/host_molecule.hpp"

#include <algorithm>
#include <array>
#include <map>

namespace saddlefit::host {

namespace {

// A bond's type; none where there is no bond, which is not the same as a bond of type 0.
using BondType = std::optional<int>;

// Orders of drawn bonds come first.
constexpr std::array<BondType, 7> possibleTypes{1, 2, 3, 4, aromaticType, std::nullopt, 0};

constexpr int carbon = 6; // any element would do

constexpr Transition fall{0, 1, -1, -1};
constexpr Transition rise{-1, -1, 0, 1};

// For each bond that changes its steps in their order, as transitions of a molecule of two atoms.
std::map<AtomPair, std::vector<Transition>> stepsOf(const std::vector<Transition> &transitions) {
    std::map<AtomPair, std::vector<Transition>> steps;
    for (const auto &step : transitions) {
        if (step.breakA >= 0 && step.breakB >= 0)
            steps[orderedPair(step.breakA, step.breakB)].push_back(fall);
        if (step.formA >= 0 && step.formB >= 0)
            steps[orderedPair(step.formA, step.formB)].push_back(rise);
    }
    return steps;
}

BondType typeAfter(BondType type, const std::vector<Transition> &steps) {
    std::vector<StructureBond> bonds;
    if (type) bonds.push_back({0, 1, *type});
    const auto mol = hostMolecule({{carbon, 0, {}}, {carbon, 0, {}}}, bonds, steps);
    applyTransition(mol.get());
    bonds = bondsOf(mol.get());
    return bonds.empty() ? BondType() : bonds.front().type;
}

// What the type was before the steps; nothing if there is no such type.
std::optional<BondType> typeBefore(BondType type, const std::vector<Transition> &steps) {
    for (const auto possible : possibleTypes) {
        if (typeAfter(possible, steps) == type) return possible;
    }
    return std::nullopt;
}

// The order that is left when all the steps are done, an aromatic bond standing half-way.
int orderAtEnd(int before, const std::vector<Transition> &steps) {
    int halves = halfOrders(before);
    bool falls = false;
    for (const auto &step : steps) {
        falls = step.formA < 0;
        halves = std::max(halves + (falls ? -2 : 2), 0);
    }
    return (halves + (falls ? 1 : 0)) / 2;
}

void setType(std::vector<StructureBond> &bonds, const AtomPair &atoms, BondType type) {
    const auto found = std::find_if(bonds.begin(), bonds.end(), [&](const StructureBond &bond) {
        return orderedPair(bond.atom1, bond.atom2) == atoms;
    });
    if (found == bonds.end()) return;
    if (type) found->type = *type;
    if (!type) bonds.erase(found);
}

BondType typeIn(const std::vector<StructureBond> &bonds, const AtomPair &atoms) {
    for (const auto &bond : bonds) {
        if (orderedPair(bond.atom1, bond.atom2) == atoms) return bond.type;
    }
    return std::nullopt;
}

} // namespace

std::optional<Reaction> reactionOf(const StoredRecord &record, const std::string &path) {
    Reaction reaction;
    reaction.title = reaction.geometryTitle = record.name;
    reaction.reactant.origin = {path};
    reaction.reactant.title = record.name;
    reaction.reactant.atoms = record.atoms;
    reaction.reactant.bonds = record.bonds;
    reaction.transitions = record.transitions;
    for (const auto &atom : record.atoms)
        reaction.coordinates.push_back(atom.position);
    for (const auto &[atoms, steps] : stepsOf(record.transitions)) {
        const auto type = typeBefore(typeIn(record.bonds, atoms), steps);
        if (!type) return std::nullopt;
        setType(reaction.reactant.bonds, atoms, *type);
        const int before = type->value_or(0);
        reaction.changes.push_back({atoms, before, orderAtEnd(before, steps)});
    }
    return reaction;
}

} // namespace saddlefit::host
