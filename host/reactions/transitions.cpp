#include "host/reactions/transitions.hpp"

#include "host/structures/elements.hpp"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

namespace saddlefit::host {

namespace {

constexpr AtomPair noBond{-1, -1};

std::set<AtomPair> bondsOfLastingAromaticRings(const Structure &reactant,
                                               const Structure &product) {
    std::set<AtomPair> bonds;
    const auto &others = product.aromaticRings;
    for (const auto &ring : reactant.aromaticRings) {
        if (std::find(others.begin(), others.end(), ring) != others.end()) {
            bonds.insert(ring.begin(), ring.end());
        }
    }
    return bonds;
}

std::vector<AtomPair> steps(std::span<const BondChange> changes, bool falling) {
    std::vector<AtomPair> pairs;
    for (const auto &change : changes) {
        if ((halfOrders(change.after) < halfOrders(change.before)) != falling) continue;
        const auto count = stepsBetween(change.before, change.after);
        pairs.insert(pairs.end(), static_cast<std::size_t>(count), change.atoms);
    }
    return pairs;
}

} // namespace

std::vector<BondChange> changedBonds(const Structure &reactant, const Structure &product) {
    std::map<AtomPair, BondChange> byAtoms;
    for (const auto &bond : reactant.bonds) {
        byAtoms[orderedPair(bond.atom1, bond.atom2)].before = bond.type;
    }
    for (const auto &bond : product.bonds) {
        byAtoms[orderedPair(bond.atom1, bond.atom2)].after = bond.type;
    }
    const auto unchanged = bondsOfLastingAromaticRings(reactant, product);
    std::vector<BondChange> changes;
    for (const auto &[atoms, change] : byAtoms) {
        if (change.before == change.after || unchanged.contains(atoms)) continue;
        changes.push_back({atoms, change.before, change.after});
    }
    return changes;
}

int stepsBetween(int before, int after) {
    return (std::abs(halfOrders(after) - halfOrders(before)) + 1) / 2;
}

std::vector<Transition> deriveTransitions(std::span<const BondChange> changes) {
    const auto falling = steps(changes, true);
    const auto rising = steps(changes, false);
    std::vector<Transition> transitions;
    for (std::size_t i = 0; i < std::max(falling.size(), rising.size()); ++i) {
        const auto [breakA, breakB] = i < falling.size() ? falling[i] : noBond;
        const auto [formA, formB] = i < rising.size() ? rising[i] : noBond;
        transitions.push_back({breakA, breakB, formA, formB});
    }
    return transitions;
}

std::string codeInSymbols(const int *code) {
    std::string text;
    for (; code[0] != 0 && code[1] != 0; code += 2) {
        if (!text.empty()) text += ' ';
        text += elementSymbol(code[0]) + "-" + elementSymbol(code[1]);
    }
    return text;
}

} // namespace saddlefit::host
