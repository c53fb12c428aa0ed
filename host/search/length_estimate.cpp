#include "host/search/length_table.hpp"

#include "saddlefit/bonding.h"
#include "saddlefit/reaction.h"

#include "host/structures/host_molecule.hpp"

#include <algorithm>
#include <set>

namespace saddlefit::host {

namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1) return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

std::set<AtomPair> changingBonds(const Molecule &mol) {
    std::set<AtomPair> pairs;
    const auto add = [&](int a, int b) {
        if (a >= 0 && b >= 0) pairs.insert(orderedPair(a, b));
    };
    for (int i = 0; i < mol.transitionCount; ++i) {
        const auto &step = mol.transitions[i];
        add(step.breakA, step.breakB);
        add(step.formA, step.formB);
    }
    return pairs;
}

// Type 0 is left of bonds that are made or broken, whatever the orders before and after.
ChangeKind kindOf(int type) {
    return type == 0 ? ChangeKind::madeOrBroken : ChangeKind::otherOrder;
}

} // namespace

void LengthTable::count(Molecule &stored) {
    const auto changing = changingBonds(stored);
    for (int i = 0; i < stored.bondCount; ++i) {
        const Bond &bond = *stored.bonds[i];
        if (std::max(bond.atom1, bond.atom2) >= stored.atomCount) continue; // of a damaged record
        if (!changing.contains(orderedPair(bond.atom1, bond.atom2))) continue;
        Atom &a = stored.atoms[bond.atom1], &b = stored.atoms[bond.atom2];
        const auto [low, high] = std::minmax(a.element, b.element);
        const double length = calcDist(&a, &b);
        lengths_[{low, high, kindOf(bond.type)}].push_back(length);
        ratios_[kindOf(bond.type)].push_back(length / singleBondLength(low, high));
    }
}

void LengthTable::finish() {
    for (auto &[key, values] : lengths_)
        medians_[key] = median(std::move(values));
    for (auto &[kind, values] : ratios_)
        medianRatios_[kind] = median(std::move(values));
}

double LengthTable::lengthOf(int element1, int element2, ChangeKind kind) const {
    const auto [low, high] = std::minmax(element1, element2);
    if (const auto found = medians_.find({low, high, kind}); found != medians_.end())
        return found->second;
    const auto ratio = medianRatios_.find(kind);
    return singleBondLength(low, high) * (ratio == medianRatios_.end() ? 1.0 : ratio->second);
}

double singleBondLength(int element1, int element2) {
    const auto pair = hostMolecule({{element1, 0, {}}, {element2, 0, {}}}, {{0, 1, 1}});
    return bondLengthGuess(pair.get(), pair->bonds[0]);
}

} // namespace saddlefit::host
