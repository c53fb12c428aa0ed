#include "host/structures/smiles.hpp"

#include "host/structures/babel.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/reader.hpp"

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

namespace saddlefit::host {

namespace {

/// Where each atom belongs; empty unless the map numbers are 1, 2, 3, ..., each once.
std::vector<int> placesByMapNumber(const babel::Molecule &molecule) {
    std::vector<int> places;
    std::vector<bool> taken(molecule.atoms.size());
    for (const auto &atom : molecule.atoms) {
        const auto place = static_cast<std::size_t>(atom.mapNumber) - 1;
        if (atom.mapNumber < 1 || place >= taken.size() || taken[place]) return {};
        taken[place] = true;
        places.push_back(atom.mapNumber - 1);
    }
    return places;
}

void requireWrittenHydrogens(const babel::Molecule &molecule) {
    constexpr std::size_t mostNamed = 6;
    std::string names;
    std::vector<int> bare;
    for (int index = 0; const auto &atom : molecule.atoms) {
        const int own = index++;
        if (atom.hydrogens == 0) continue;
        bare.push_back(own);
        if (bare.size() > mostNamed) continue;
        names += (names.empty() ? "" : ", ") + atomLabel(atom.element, own);
    }
    if (bare.empty()) return;
    if (bare.size() > mostNamed) names += ", ...";
    throw Error("hydrogens are not written at " + names +
                "; write all hydrogens, as [H] with map numbers of their own")
        .about(bare);
}

void reorder(babel::Molecule &molecule, const std::vector<int> &places) {
    const auto placeOf = [&](int atom) { return places[static_cast<std::size_t>(atom)]; };
    std::vector<babel::Atom> atoms(molecule.atoms.size());
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[static_cast<std::size_t>(places[i])] = molecule.atoms[i];
    molecule.atoms = std::move(atoms);
    for (auto &bond : molecule.bonds) {
        bond.atom1 = placeOf(bond.atom1);
        bond.atom2 = placeOf(bond.atom2);
    }
    for (auto &ring : molecule.aromaticRings) {
        for (auto &[a, b] : ring)
            std::tie(a, b) = orderedPair(placeOf(a), placeOf(b));
        std::sort(ring.begin(), ring.end());
    }
}

} // namespace

std::map<AtomPair, int> mappedSmilesBonds(const std::string &smiles, const Place &origin) {
    babel::Molecule molecule;
    try {
        molecule = sharedBabel().parseSmiles({smiles, false, false});
    } catch (const BabelRefusal &) { // told below
    } catch (const Error &error) {
        throw error.at(origin);
    }
    const auto places = placesByMapNumber(molecule);
    if (places.empty()) {
        throw Error("the mapped SMILES cannot be read, or its map numbers are not 1, 2, 3, ... for "
                    "all atoms and hydrogens; correct it")
            .at(origin);
    }
    std::map<AtomPair, int> bonds;
    for (const auto &bond : molecule.bonds) {
        const auto placeOf = [&](int atom) { return places[static_cast<std::size_t>(atom)]; };
        bonds[orderedPair(placeOf(bond.atom1), placeOf(bond.atom2))] = bond.order;
    }
    return bonds;
}

void prepareSmiles(babel::Molecule &molecule, bool isSideOfReaction) {
    if (isSideOfReaction) requireWrittenHydrogens(molecule);
    const auto places = placesByMapNumber(molecule);
    if (!places.empty()) return reorder(molecule, places);
    if (!isSideOfReaction) return;
    throw Error("the map numbers are not 1, 2, 3, ..., each once; number all atoms, hydrogens "
                "too, and alike on both sides");
}

MarkedStructure moleculesInSmiles(const std::string &smiles, const Place &origin) {
    try {
        const auto molecule = sharedBabel().parseSmiles({smiles, true, false});
        if (molecule.atoms.empty()) throw Error("a side of the SMILES is without molecules");
        MarkedStructure result{structureFrom(molecule), {molecule.centres, molecule.doubleBonds}};
        result.structure.origin = origin;
        return result;
    } catch (const BabelRefusal &) {
        throw Error("Open Babel cannot read the SMILES " + smiles + "; correct it").at(origin);
    } catch (const Error &error) {
        throw error.at(origin);
    }
}

} // namespace saddlefit::host
