#include "saddlefit/reaction.h"
#include "saddlefit/vecmath.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <unordered_set>
#include <vector>

namespace {

using namespace saddlefit;

constexpr double degreesPerRadian = 57.29577951308238;

/// Reach of a constraint from its central atom, in bonds, as stored in Constraint.level.
constexpr std::uint8_t bonded = 1, geminal = 2, vicinal = 4;

constexpr std::uint8_t wantDistances = 1, wantAngles = 2, wantDihedrals = 4;

/// The atoms of a constraint regardless of their order.
using AtomSet = std::array<int, 4>;

AtomSet atomSet(int a, int b, int c, int d) {
    AtomSet atoms = {a, b, c, d};
    std::ranges::sort(atoms);
    return atoms;
}

struct HashAtoms {
    std::size_t operator()(const AtomSet &atoms) const {
        std::size_t hash = 0;
        for (const int atom : atoms)
            hash = (hash ^ static_cast<unsigned>(atom)) * 0x9e3779b97f4a7c15u;
        return hash ^ (hash >> 32);
    }
};

/// Gathers the constraints around every bond of mapped atoms.
class Constrainer {
public:
    Constrainer(const Molecule &mol, const Molecule &ref, const int *map, std::uint8_t flags)
        : mol_(mol), ref_(ref), map_(map), flags_(flags) {}

    std::vector<Constraint> gather() {
        for (int i = 0; i < mol_.atomCount; ++i)
            for (const int j : mappedNeighbours(i))
                aroundBond(i, j);
        return std::move(constraints_);
    }

private:
    bool mapped(int atom) const { return hasAtom(ref_, map_[atom]); }
    Atom *partner(int atom) const { return &ref_.atoms[map_[atom]]; }

    std::vector<int> mappedNeighbours(int atom) const {
        std::vector<int> neighbours;
        if (!mapped(atom)) return neighbours;
        for (const auto [bond, neighbour] : neighboursOf(mol_, atom))
            if (mapped(neighbour)) neighbours.push_back(neighbour);
        return neighbours;
    }

    void aroundBond(int i, int j) {
        distance(i, j, bonded);
        const std::vector<int> beyondJ = mappedNeighbours(j);
        for (const int k : mappedNeighbours(i)) {
            if (k == j) continue;
            distance(j, k, geminal);
            angle(j, i, k);
            for (const int l : beyondJ) {
                if (l == i || l == k) continue;
                distance(k, l, vicinal);
                dihedral(l, j, i, k);
            }
        }
    }

    void distance(int a, int b, std::uint8_t level) {
        if ((flags_ & wantDistances) && isNew(a, b, -1, -1))
            append(a, b, -1, -1, calcDist(partner(a), partner(b)), level);
    }
    void angle(int a, int b, int c) {
        if ((flags_ & wantAngles) && isNew(a, b, c, -1))
            append(a, b, c, -1, calcAngle(partner(a), partner(b), partner(c)) * degreesPerRadian,
                   geminal);
    }
    void dihedral(int a, int b, int c, int d) {
        if ((flags_ & wantDihedrals) && isNew(a, b, c, d))
            append(a, b, c, d,
                   calcDihedral(partner(a), partner(b), partner(c), partner(d)) * degreesPerRadian,
                   vicinal);
    }

    bool isNew(int a, int b, int c, int d) { return known_.insert(atomSet(a, b, c, d)).second; }
    void append(int a, int b, int c, int d, double value, std::uint8_t level) {
        constraints_.push_back({a, b, c, d, value, 0.0, level});
    }

    const Molecule &mol_;
    const Molecule &ref_;
    const int *map_;
    const std::uint8_t flags_;
    std::vector<Constraint> constraints_;
    std::unordered_set<AtomSet, HashAtoms> known_;
};

} // namespace

Constraint *getConstraint(Molecule *mol, int a, int b, int c, int d) {
    const AtomSet wanted = atomSet(a, b, c, d);
    for (Constraint &constraint : constraintsOf(*mol))
        if (atomSet(constraint.a, constraint.b, constraint.c, constraint.d) == wanted)
            return &constraint;
    return nullptr;
}

int constrainSub(Molecule *mol, Molecule *ref, int *map, uint8_t flags) {
    releaseBlock(mol->constraints);
    mol->constraintCount = 0;
    return guarded(1, [&] {
        if (!ensureBondlink(*mol)) return 1;
        const std::vector<Constraint> constraints = Constrainer(*mol, *ref, map, flags).gather();
        if (constraints.empty() || !resizeArray(mol->constraints, constraints.size())) return 1;
        std::ranges::copy(constraints, mol->constraints);
        mol->constraintCount = static_cast<int>(constraints.size());
        return 1;
    });
}

double calcDist(Atom *p, Atom *q) {
    return V_Distd(positionOf(*p).data(), positionOf(*q).data());
}

double calcAngle(Atom *p, Atom *q, Atom *r) {
    return V_Angle3d(positionOf(*p).data(), positionOf(*q).data(), positionOf(*r).data());
}

double calcDihedral(Atom *p, Atom *q, Atom *r, Atom *s) {
    return V_Dihedrald(positionOf(*p).data(), positionOf(*q).data(), positionOf(*r).data(),
                       positionOf(*s).data());
}

void calcCenter(Atom *atoms, int n, double out[3]) {
    const auto run = countedSpan(atoms, n);
    double x = 0, y = 0, z = 0;
    for (const Atom &atom : run) {
        x += atom.x;
        y += atom.y;
        z += atom.z;
    }
    out[0] = x / n;
    out[1] = y / n;
    out[2] = z / n;
    for (Atom &atom : run) {
        atom.x -= out[0];
        atom.y -= out[1];
        atom.z -= out[2];
    }
}
