#include "host/reactions/bare_sides.hpp"

#include "host/reactions/electrons.hpp"
#include "host/structures/aromaticity.hpp"
#include "host/structures/babel.hpp"
#include "host/structures/perception.hpp"
#include "host/system/error.hpp"

#include <utility>
#include <vector>

namespace saddlefit::host {

namespace {

babel::PerceiveBonds requestFor(const Structure &side, int charge) {
    babel::PerceiveBonds request;
    for (const auto &[element, formal, at] : side.atoms) {
        auto &atom = request.molecule.atoms.emplace_back();
        atom.element = element;
        atom.position = {at.x, at.y, at.z};
    }
    request.charge = charge;
    return request;
}

/// Nitrogen and oxygen whose neighbours are as many as there can be have no room for a double bond
/// to a carbon with the opposite charge. Without charges none will be drawn there.
void dischargeYlides(Structure &side) {
    std::vector<int> neighbours(side.atoms.size(), 0);
    for (const auto &bond : side.bonds) {
        ++neighbours[static_cast<std::size_t>(bond.atom1)];
        ++neighbours[static_cast<std::size_t>(bond.atom2)];
    }
    constexpr int carbon = 6, nitrogen = 7, oxygen = 8;
    for (const auto &bond : side.bonds) {
        auto c = static_cast<std::size_t>(bond.atom1), other = static_cast<std::size_t>(bond.atom2);
        if (side.atoms[c].element != carbon) std::swap(c, other);
        auto &anion = side.atoms[c], &cation = side.atoms[other];
        const bool isFull = (cation.element == nitrogen && neighbours[other] > 3) ||
                            (cation.element == oxygen && neighbours[other] > 2);
        if (!isFull || anion.element != carbon || anion.charge != -1 || cation.charge != 1)
            continue;
        anion.charge = cation.charge = 0;
    }
}

void takeBondsOfOpenBabel(Structure &side, int charge) {
    const auto found = sharedBabel().perceiveBonds(requestFor(side, charge));
    side.bonds.clear();
    for (const auto &bond : found.bonds)
        side.bonds.push_back({bond.atom1, bond.atom2, bond.order});
    for (std::size_t i = 0; i < side.atoms.size(); ++i)
        side.atoms[i].charge = found.atoms.at(i).charge;
    dischargeYlides(side);
    const std::vector<int> noHydrogens(side.atoms.size(), 0);
    side.aromaticRings = aromaticRings(side.atoms, side.bonds, noHydrogens);
}

void takeBondsOfLibrary(Structure &side) {
    side.bonds = perceivedCovalentBonds(side.atoms);
    side.aromaticRings = ringsOfAromaticBonds(side.atoms.size(), side.bonds);
}

void findBondsOf(Structure &side, BondFinder finder, int charge) {
    if (side.namesBonds) return;
    try {
        if (!hasCoordinates(side.atoms)) {
            throw Error("the record has neither bonds nor coordinates to find them by; make a "
                        "three-dimensional structure of it first");
        }
        if (finder == BondFinder::library) return takeBondsOfLibrary(side);
        takeBondsOfOpenBabel(side, charge);
    } catch (const BabelRefusal &refusal) {
        throw refusal.at(side.origin).with(Remedy::bondsOfLibrary);
    } catch (const Error &error) {
        const bool ofBabel = error.kind() != ErrorKind::input;
        throw error.at(side.origin).with(ofBabel ? Remedy::bondsOfLibrary : Remedy::none);
    }
}

} // namespace

void findBonds(Structure &reactant, Structure &product, const BareSideOptions &options) {
    auto charge = options.charge;
    for (const auto *side : {&reactant, &product})
        if (!charge) charge = toldCharge(*side);
    for (auto *side : {&reactant, &product})
        findBondsOf(*side, options.finder, charge.value_or(0));
}

} // namespace saddlefit::host
