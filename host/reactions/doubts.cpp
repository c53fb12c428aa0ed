#include "host/reactions/doubts.hpp"

#include "host/structures/labels.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <cstdlib>

namespace saddlefit::host {

namespace {

constexpr int hydrogen = 1, carbon = 6;
constexpr int valenceOfCarbon = 4;

const StructureAtom &atomAt(const Structure &structure, int index) {
    return structure.atoms[static_cast<std::size_t>(index)];
}

bool hasHydrogenOnCarbon(const Structure &structure) {
    return std::any_of(structure.bonds.begin(), structure.bonds.end(), [&](const auto &bond) {
        const int one = atomAt(structure, bond.atom1).element;
        const int other = atomAt(structure, bond.atom2).element;
        return std::min(one, other) == hydrogen && std::max(one, other) == carbon;
    });
}

bool hasOpenCarbon(const Structure &structure) {
    std::vector<int> halves(structure.atoms.size(), 0); // of bond orders, per atom
    for (const auto &bond : structure.bonds) {
        const int order = bond.type == aromaticType ? 3 : 2 * bond.type;
        for (const int atom : {bond.atom1, bond.atom2})
            halves[static_cast<std::size_t>(atom)] += order;
    }
    for (std::size_t i = 0; i < halves.size(); ++i) {
        const auto &atom = structure.atoms[i];
        if (atom.element == carbon && halves[i] / 2 + std::abs(atom.charge) < valenceOfCarbon)
            return true;
    }
    return false;
}

// A carbene, or carbon monoxide, has an open carbon too, but seldom on both sides of a reaction.
bool lacksHydrogens(const Structure &structure) {
    return !hasHydrogenOnCarbon(structure) && hasOpenCarbon(structure);
}

} // namespace

std::vector<std::string> doubtsAbout(const Structure &reactant, const Structure &product) {
    std::vector<std::string> doubts;
    if (lacksHydrogens(reactant) && lacksHydrogens(product)) {
        doubts.emplace_back("no carbon has a hydrogen, though valences are open; none are added "
                            "here, so write all hydrogens into the records");
    }
    if (reactant.hasIsotopes || product.hasIsotopes) {
        doubts.emplace_back("isotopes are not kept; deuterium is written as hydrogen");
    }
    return doubts;
}

std::optional<AtomPair> misplacedNumber(const Structure &product, const Structure &reactant) {
    const auto &before = reactant.mapNumbers, &after = product.mapNumbers;
    for (std::size_t i = 0; i < before.size(); ++i) {
        const bool isOwn =
            before[i] != 0 && std::count(before.begin(), before.end(), before[i]) == 1;
        if (!isOwn || std::count(after.begin(), after.end(), before[i]) != 1) continue;
        const auto place = std::find(after.begin(), after.end(), before[i]) - after.begin();
        if (place != static_cast<std::ptrdiff_t>(i)) {
            return AtomPair{static_cast<int>(i), static_cast<int>(place)};
        }
    }
    return std::nullopt;
}

void requireMapsInOrder(const Structure &product, const Structure &reactant) {
    const auto misplaced = misplacedNumber(product, reactant);
    if (!misplaced) return;
    throw Error("by the map numbers " + labelIn(reactant.atoms, misplaced->first) +
                " of the reactant is " + labelIn(product.atoms, misplaced->second) +
                ", but atoms are paired by their order; bring both records into the order "
                "of the map numbers, or take these out if the order is right")
        .at(product.origin)
        .about({misplaced->second});
}

} // namespace saddlefit::host
