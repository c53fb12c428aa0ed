#include "saddlefit/matching.h"
#include "saddlefit/reaction.h"
#include "saddlefit/superpose.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"
#include "reaction/atom_map.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

using namespace saddlefit;

constexpr std::uint8_t anglesOnly = 2;

std::vector<int> partnersOf(const Molecule &mol, const Molecule &match, const int *map) {
    std::vector<int> partners(map, map + std::max(mol.atomCount, 0));
    for (int &partner : partners)
        if (partner >= match.atomCount) partner = -1;
    return partners;
}

/// Turn every -1 among the neighbours of an atom into a code that lets them be mapped.
void openNeighbours(const Molecule &mol, int atom, std::vector<int> &map, int code) {
    for (const auto [bond, neighbour] : neighboursOf(mol, atom)) {
        int &entry = map[static_cast<std::size_t>(neighbour)];
        if (entry == MAP_SKIP) entry = code;
    }
}

/// Extend a map to the neighbours of one mapped atom, as far as they have counterparts.
void growAround(Molecule &mol, Molecule &match, int atom, std::vector<int> &map) {
    for (int &entry : map)
        entry = std::max(entry, static_cast<int>(MAP_SKIP));
    openNeighbours(mol, atom, map, MAP_OPTIONAL_ANY);
    std::vector<int> inverse = inverseOf(map, atomsOf(match).size());
    openNeighbours(match, map[static_cast<std::size_t>(atom)], inverse, MAP_OPTIONAL);
    mapSingleSub(&mol, &match, map.data(), inverse.data(), 1, 0);
}

std::vector<int> grownByOneShell(Molecule &mol, Molecule &match, const std::vector<int> &partners) {
    std::vector<int> grown = partners;
    for (int atom = 0; atom < mol.atomCount; ++atom)
        if (partners[static_cast<std::size_t>(atom)] >= 0) growAround(mol, match, atom, grown);
    return grown;
}

/// Angles within the placed atoms are settled by their coordinates; those of the shell remain.
void dropAnglesWithin(Molecule &mol, const std::vector<int> &partners) {
    const auto placed = [&](int atom) { return partners[static_cast<std::size_t>(atom)] >= 0; };
    const auto constraints = constraintsOf(mol);
    const auto kept =
        std::remove_if(constraints.begin(), constraints.end(), [&](const Constraint &angle) {
            return placed(angle.a) && placed(angle.b) && placed(angle.c);
        });
    mol.constraintCount = static_cast<int>(kept - constraints.begin());
}

void placeAndFreeze(Molecule &mol, const Molecule &match, const std::vector<int> &partners) {
    for (int i = 0; i < mol.atomCount; ++i) {
        const int partner = partners[static_cast<std::size_t>(i)];
        if (partner < 0) continue;
        Atom &atom = mol.atoms[i];
        atom.frozen = 1;
        atom.x = match.atoms[partner].x;
        atom.y = match.atoms[partner].y;
        atom.z = match.atoms[partner].z;
    }
}

} // namespace

int freezeSub(Molecule *mol, Molecule *match, int *map) {
    return guarded(1, [&] {
        std::vector<int> partners = partnersOf(*mol, *match, map);
        std::vector<int> grown = grownByOneShell(*mol, *match, partners);
        constrainSub(mol, match, grown.data(), anglesOnly);
        dropAnglesWithin(*mol, partners);
        alignMapMols(mol, match, partners.data(), nullptr, nullptr);
        placeAndFreeze(*mol, *match, partners);
        return 1;
    });
}
