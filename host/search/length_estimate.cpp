#include "host/search/length_estimate.hpp"

#include "saddlefit/bonding.h"

#include "host/structures/host_molecule.hpp"

#include <algorithm>
#include <cmath>
#include <span>

namespace saddlefit::host {

namespace {

double medianOfSorted(const auto &values, const auto &valueOf) {
    const auto middle = values.size() / 2;
    if (values.size() % 2 == 1) return valueOf(values[middle]);
    return (valueOf(values[middle - 1]) + valueOf(values[middle])) / 2;
}

double lengthIn(const Molecule &mol, const AtomPair &atoms) {
    const Atom &a = mol.atoms[atoms.first], &b = mol.atoms[atoms.second];
    return distanceBetween({a.x, a.y, a.z}, {b.x, b.y, b.z});
}

} // namespace

void LengthEstimate::count(const Molecule &stored) {
    for (const auto &bond : changingBondsOf(stored, wanted_ ? &*wanted_ : nullptr)) {
        const double length = lengthIn(stored, bond.atoms);
        if (!std::isfinite(length)) continue; // of a damaged record
        // Where a finer level repeats the coarser one the bond counts there once.
        for (std::size_t level = 0; level < bond.keys.size(); ++level) {
            const auto key = bond.keys[level];
            if (level > 0 && key == bond.keys[level - 1]) continue;
            if (!wanted_ || wanted_->contains(key)) lengths_.emplace_back(key, length);
        }
        const int a = stored.atoms[bond.atoms.first].element;
        const int b = stored.atoms[bond.atoms.second].element;
        ratios_[bond.madeOrBroken].push_back(length / singleLength(a, b));
    }
}

double LengthEstimate::singleLength(int element1, int element2) {
    const auto [entry, isNew] = singleLengths_.try_emplace({element1, element2}, 0.0);
    if (isNew) entry->second = singleBondLength(element1, element2);
    return entry->second;
}

void LengthEstimate::finish() {
    std::sort(lengths_.begin(), lengths_.end());
    for (auto &[kind, ratios] : ratios_) {
        std::sort(ratios.begin(), ratios.end());
        medianRatios_[kind] = medianOfSorted(ratios, [](double ratio) { return ratio; });
    }
    ratios_.clear();
}

double LengthEstimate::beginOf(int element1, int element2, const ChangingBond &bond) const {
    const auto ratio = medianRatios_.find(bond.madeOrBroken);
    return singleBondLength(element1, element2) *
           (ratio == medianRatios_.end() ? 1.0 : ratio->second);
}

UsualLength LengthEstimate::lengthOf(int element1, int element2, const ChangingBond &bond,
                                     double m) const {
    constexpr auto below = [](const KeyedLength &a, const KeyedLength &b) {
        return a.first < b.first;
    };
    UsualLength usual{beginOf(element1, element2, bond)};
    auto &[length, shared, bonds] = usual;
    for (std::size_t level = 0; level < bond.keys.size(); ++level) {
        const auto [first, last] = std::equal_range(lengths_.begin(), lengths_.end(),
                                                    KeyedLength{bond.keys[level], 0.0}, below);
        if (first == last) break; // finer surroundings have no bonds either
        const std::span<const KeyedLength> found(first, last);
        const auto n = static_cast<double>(found.size());
        const double median = medianOfSorted(found, [](const auto &entry) { return entry.second; });
        length = level == 0 ? median : (n * median + m * length) / (n + m);
        shared = level + 1;
        bonds = found.size();
    }
    return usual;
}

UsualLengths LengthEstimate::lengthsIn(const Molecule &transitionState, double m) const {
    UsualLengths lengths;
    for (const auto &bond : changingBondsOf(transitionState)) {
        const int a = transitionState.atoms[bond.atoms.first].element;
        const int b = transitionState.atoms[bond.atoms.second].element;
        lengths[bond.atoms] = lengthOf(a, b, bond, m);
    }
    return lengths;
}

double singleBondLength(int element1, int element2) {
    const auto pair = hostMolecule({{element1, 0, {}}, {element2, 0, {}}}, {{0, 1, 1}});
    return bondLengthGuess(pair.get(), pair->bonds[0]);
}

} // namespace saddlefit::host
