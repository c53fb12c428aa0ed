#include "saddlefit/matching.h"
#include "saddlefit/vecmath.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <array>

using namespace saddlefit;

namespace {

constexpr std::size_t substituents = 4; // of a tetrahedral centre

/// Vector from one atom to another.
std::array<double, 3> between(const Atom &from, const Atom &to) {
    return {to.x - from.x, to.y - from.y, to.z - from.z};
}

/// The atom's neighbours in the order of the index; false unless there are exactly four.
bool fourNeighbours(const Molecule &mol, int centre, std::array<int, substituents> &found) {
    std::size_t count = 0;
    for (const Neighbour neighbour : neighboursOf(mol, centre)) {
        if (count == substituents) return false;
        found[count++] = neighbour.atom;
    }
    return count == substituents;
}

} // namespace

int calcChirality(const Atom *centre, const Atom *a, const Atom *b, const Atom *c, const Atom *d) {
    const auto ab = between(*a, *b);
    const auto ac = between(*a, *c);
    const auto outward = between(*centre, *d);
    std::array<double, 3> normal;
    V_Crossd(ab.data(), ac.data(), normal.data());
    const double volume = V_Dotd(outward.data(), normal.data());
    return volume > 0 ? 1 : volume < 0 ? -1 : 0;
}

int getRS(Molecule *mol, int atomIndex) {
    if (!hasAtom(*mol, atomIndex)) return 0;
    if (!ensureBondlink(*mol)) return failed;
    std::array<int, substituents> ranked;
    if (!fourNeighbours(*mol, atomIndex, ranked)) return 0;
    const int ranks = cmpAtoms(mol, ranked.data(), substituents, nullptr, 0, atomIndex, nullptr);
    if (ranks != substituents) return 0;

    const auto atomAt = [mol](int atom) { return &mol->atoms[atom]; };
    switch (calcChirality(atomAt(atomIndex), atomAt(ranked[0]), atomAt(ranked[1]),
                          atomAt(ranked[2]), atomAt(ranked[3]))) {
    case 1:
        return 1;
    case -1:
        return 2;
    default:
        return 0;
    }
}

int createRS(Molecule *mol) {
    for (int atom = 0; atom < mol->atomCount; ++atom)
        mol->atoms[atom].rs = getRS(mol, atom);
    mol->flags |= MOL_RS_VALID;
    return 1;
}

int mirrorRS(Molecule *mol) {
    for (Atom &atom : atomsOf(*mol)) {
        atom.x = -atom.x;
        if (atom.rs == 1 || atom.rs == 2) atom.rs = 3 - atom.rs;
    }
    return 1;
}

int calcIsomerism(const Atom *a, const Atom *b, const Atom *c, const Atom *d) {
    return V_Dotd(between(*b, *a).data(), between(*c, *d).data()) > 0 ? 1 : -1;
}
