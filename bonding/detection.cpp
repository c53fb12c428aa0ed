#include "saddlefit/bonding.h"
#include "saddlefit/vecmath.h"

#include "bonding/elements.hpp"
#include "molecule/bondlink.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <vector>

namespace {

using namespace saddlefit;

/// The type of bonds that are to go.
constexpr int condemned = -10;

constexpr int aromatic = 5;
constexpr int lastPass = 1;

// Radians.
constexpr double ringAngleAbove = 1.7453292519943295; // 100 degrees
constexpr double ringAngleBelow = 2.2689280275926285; // 130 degrees
constexpr double planarSumAbove = 6.1086523819801535; // 350 degrees
constexpr double planarSumBelow = 6.457718232379019;  // 370 degrees

double angleAt(const Molecule &mol, int a, int centre, int b) {
    return V_Angle3d(positionOf(mol.atoms[a]).data(), positionOf(mol.atoms[centre]).data(),
                     positionOf(mol.atoms[b]).data());
}

/// What one end of a bond has around it, the bond itself left out.
struct End {
    int atom = -1;
    int bonds = 0;                   ///< all bonds of the atom, this one included
    int hydrogens = 0;               ///< neighbours
    int aromatics = 0;               ///< aromatic bonds, or candidates, at an angle that a ring has
    int doubles = 0;                 ///< bonds of type 2
    double angleSum = 0;             ///< of the angles around the atom if it has three bonds
    std::vector<int> realNeighbours; ///< over bonds that are no mere contacts

    bool planar() const { return !(angleSum > planarSumBelow || angleSum < planarSumAbove); }
    bool crowded() const { return hydrogens >= 2 || bonds >= 4; }
    bool bentThreefold() const { return bonds == 3 && !planar(); }
};

bool isReal(const Bond &bond) {
    return bond.type != 0 && bond.type != hydrogenBond && bond.type != metalContact;
}

bool isAromatic(const Bond &bond) {
    return bond.type == aromatic || bond.type == aromaticCandidate;
}

void addNeighbour(End &end, const Molecule &mol, const Bond &bond, int neighbour, int far) {
    const double angle = hasAtom(mol, far) ? angleAt(mol, far, end.atom, neighbour) : 0.0;
    end.hydrogens += mol.atoms[neighbour].element == hydrogen;
    end.aromatics += isAromatic(bond) && angle > ringAngleAbove && angle < ringAngleBelow;
    end.doubles += bond.type == 2;
    end.angleSum += angle;
    if (isReal(bond)) end.realNeighbours.push_back(neighbour);
}

End surroundings(const Molecule &mol, const Bond &bond, int atom, int far) {
    End end;
    end.atom = atom;
    std::vector<int> others;
    for (const auto [other, neighbour] : neighboursOf(mol, atom)) {
        ++end.bonds;
        if (other == &bond) continue;
        addNeighbour(end, mol, *other, neighbour, far);
        others.push_back(neighbour);
    }
    if (others.size() == 2) end.angleSum += angleAt(mol, others[0], atom, others[1]);
    return end;
}

/// Whether an aromatic candidate may stay one, as its first and then its second end sees it. A ring
/// atom has two more ring bonds in plane; the ends must bring such support from both sides.
bool firstEndAllowsAromatic(const End &end) {
    if (end.bonds == 0 || end.crowded() || end.aromatics == 0) return false;
    return !end.bentThreefold();
}

bool secondEndAllowsAromatic(const End &end, int support, int doubles) {
    if (end.crowded() || support < 2) return false;
    return !end.bentThreefold() && doubles == 0;
}

bool shareRealNeighbour(const End &a, const End &b) {
    return std::ranges::any_of(b.realNeighbours, [&](int atom) {
        return std::ranges::find(a.realNeighbours, atom) != a.realNeighbours.end();
    });
}

/// A hydrogen whose only real neighbour is not carbon.
bool donatesHydrogenBond(const Molecule &mol, const End &end) {
    return elementOf(mol, end.atom) == hydrogen && end.realNeighbours.size() == 1 &&
           mol.atoms[end.realNeighbours.front()].element != carbon;
}

int settledHydrogenBond(const Molecule &mol, const End &first, const End &second) {
    if (shareRealNeighbour(first, second)) return condemned;
    return donatesHydrogenBond(mol, first) || donatesHydrogenBond(mol, second) ? 0 : condemned;
}

int settledContact(const End &first, const End &second) {
    return first.realNeighbours.empty() || second.realNeighbours.empty() ? 0 : condemned;
}

/// The order of a candidate that is not aromatic after all: next to a double bond it is single.
int settledLocalised(Molecule &mol, Bond &bond, int doubles) {
    if (doubles > 0) return 1;
    return bondTypeGuess(&mol, &bond, 0) == 2 ? 2 : 1;
}

/// The positive value of a mark; one below -INT_MAX has none and stays negative.
int positive(int mark) {
    return static_cast<int>(0u - static_cast<unsigned>(mark));
}

int settledMark(Molecule &mol, Bond &bond, int pass) {
    const End first = surroundings(mol, bond, bond.atom1, bond.atom2);
    const End second = surroundings(mol, bond, bond.atom2, bond.atom1);
    if (bond.type == metalBond) return 1;
    if (bond.type == hydrogenBond) return settledHydrogenBond(mol, first, second);
    if (bond.type == metalContact) return settledContact(first, second);
    if (bond.type != aromaticCandidate) return positive(bond.type);

    const int support = (first.aromatics > 0) + second.aromatics;
    const int doubles = first.doubles + second.doubles;
    if (!firstEndAllowsAromatic(first) || !secondEndAllowsAromatic(second, support, doubles))
        return settledLocalised(mol, bond, doubles);
    return pass == lastPass ? aromatic : aromaticCandidate;
}

bool oxygenBridges(Molecule &mol, const Bond &bond, int end, int far) {
    for (const auto [other, neighbour] : neighboursOf(mol, end)) {
        if (other == &bond || mol.atoms[neighbour].element != oxygen) continue;
        if (getBond(&mol, neighbour, far)) return true;
    }
    return false;
}

/// Two atoms that share an oxygen, as in a metal oxide, come near enough to seem bonded.
bool isBridged(Molecule &mol, const Bond &bond) {
    if (elementOf(mol, bond.atom1) <= neon && elementOf(mol, bond.atom2) <= neon) return false;
    return oxygenBridges(mol, bond, bond.atom1, bond.atom2) ||
           oxygenBridges(mol, bond, bond.atom2, bond.atom1);
}

void settleBonds(Molecule &mol, int pass) {
    for (Bond *bond : bondsOf(mol)) {
        if (bond->type < 0)
            bond->type = settledMark(mol, *bond, pass);
        else if (pass == lastPass && isBridged(mol, *bond))
            bond->type = condemned;
    }
}

/// An atom's bonds of order 1 and 2, in the order of the index.
struct LocalisedBonds {
    int singles = 0;
    std::vector<Bond *> doubles;
};

LocalisedBonds localisedBonds(const Molecule &mol, int atom) {
    LocalisedBonds bonds;
    for (const auto [bond, neighbour] : neighboursOf(mol, atom)) {
        if (bond->type == 1) ++bonds.singles;
        if (bond->type == 2) bonds.doubles.push_back(bond);
    }
    return bonds;
}

/// The longest of several bonds; of equally long ones the last.
Bond *longest(const Molecule &mol, const std::vector<Bond *> &bonds) {
    const auto length = [&](const Bond *bond) {
        return V_Distd(positionOf(mol.atoms[bond->atom1]).data(),
                       positionOf(mol.atoms[bond->atom2]).data());
    };
    Bond *kept = bonds.front();
    for (Bond *bond : bonds)
        if (length(bond) >= length(kept)) kept = bond;
    return kept;
}

void repairCarbon(const Molecule &mol, const LocalisedBonds &bonds) {
    const auto &doubles = bonds.doubles;
    if (doubles.empty()) return;
    if (bonds.singles + static_cast<int>(doubles.size()) == 4) {
        doubles.front()->type = 1;
        return;
    }
    const Bond *kept = longest(mol, doubles);
    for (Bond *bond : doubles)
        if (bond != kept) bond->type = 1;
}

void repairOxygen(const LocalisedBonds &bonds) {
    if (bonds.singles + static_cast<int>(bonds.doubles.size()) < 2) return;
    for (Bond *bond : bonds.doubles)
        bond->type = 1;
}

void repairDoubleBonds(const Molecule &mol) {
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        const int element = mol.atoms[atom].element;
        if (element == carbon) repairCarbon(mol, localisedBonds(mol, atom));
        if (element == oxygen) repairOxygen(localisedBonds(mol, atom));
    }
}

} // namespace

void recheckBonds(Molecule *mol) {
    if (createBondlink(mol) == failed) return;
    guarded(0, [&] {
        settleBonds(*mol, 0);
        removeCondemned(*mol, [](const Bond &bond) { return bond.type < aromaticCandidate; });
        settleBonds(*mol, lastPass);
        removeCondemned(*mol, [](const Bond &bond) { return bond.type < 0; });
        repairDoubleBonds(*mol);
        return 1;
    });
}
