#include "host/reactions/fragments.hpp"

#include <numeric>

namespace saddlefit::host {

namespace {

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

/// The lowest atom of each one's fragment.
std::vector<int> lowestAtoms(const Structure &structure) {
    std::vector<int> lowest(structure.atoms.size());
    std::iota(lowest.begin(), lowest.end(), 0);
    const auto rootOf = [&](int atom) {
        while (lowest[index(atom)] != atom)
            atom = lowest[index(atom)] = lowest[index(lowest[index(atom)])];
        return atom;
    };
    for (const auto &bond : structure.bonds) {
        if (bond.type == 0) continue;
        const auto [low, high] = orderedPair(rootOf(bond.atom1), rootOf(bond.atom2));
        lowest[index(high)] = low;
    }
    for (std::size_t atom = 0; atom < lowest.size(); ++atom)
        lowest[atom] = rootOf(static_cast<int>(atom));
    return lowest;
}

} // namespace

std::vector<Fragment> fragmentsOf(const Structure &structure) {
    const auto lowest = lowestAtoms(structure);
    std::vector<Fragment> fragments;
    std::vector<int> number(lowest.size(), -1);
    for (std::size_t atom = 0; atom < lowest.size(); ++atom) {
        auto &place = number[index(lowest[atom])];
        if (place < 0) {
            place = static_cast<int>(fragments.size());
            fragments.emplace_back();
        }
        fragments[index(place)].push_back(static_cast<int>(atom));
    }
    return fragments;
}

std::vector<int> fragmentNumbers(const std::vector<Fragment> &fragments, std::size_t atoms) {
    std::vector<int> numbers(atoms, 0);
    for (std::size_t number = 0; number < fragments.size(); ++number) {
        for (const int atom : fragments[number])
            numbers[index(atom)] = static_cast<int>(number);
    }
    return numbers;
}

Structure fragmentIn(const Structure &structure, const Fragment &fragment) {
    Structure part;
    part.origin = structure.origin;
    std::vector<int> place(structure.atoms.size(), -1);
    for (const int atom : fragment) {
        place[index(atom)] = static_cast<int>(part.atoms.size());
        part.atoms.push_back(structure.atoms[index(atom)]);
    }
    for (const auto &[atom1, atom2, type] : structure.bonds) {
        const int a = place[index(atom1)], b = place[index(atom2)];
        if (a >= 0 && b >= 0) part.bonds.push_back({a, b, type});
    }
    return part;
}

} // namespace saddlefit::host
