/// Guesses of lengths and orders, and the perception of bonds, for atoms anywhere.
#include "saddlefit/bonding.h"

#include "tests/fuzz/bytes.hpp"

using namespace saddlefit;
using namespace saddlefit::fuzz;

namespace {

bool allowedGuess(int type, int mode) {
    if (type >= 0) return type <= 3;
    if (type == -5) return mode >= 1;
    return mode >= 2 && type >= -3;
}

bool bothKnown(const Molecule &mol, const Bond &bond) {
    const auto known = [](int element) { return element >= 1 && element <= 109; };
    return known(elementOf(mol, bond.atom1)) && known(elementOf(mol, bond.atom2));
}

bool inOnePlace(const Molecule &mol, const Bond &bond) {
    return samePlace(mol.atoms[bond.atom1], mol.atoms[bond.atom2]);
}

void guessEachBond(Molecule &mol, int mode) {
    for (Bond *bond : bondsOf(mol)) {
        Bond reversed = *bond;
        std::swap(reversed.atom1, reversed.atom2);
        const double length = bondLengthGuess(&mol, bond);
        require(length > 0 && length < 10, "a bond's length is one that bonds have");
        require(same(length, bondLengthGuess(&mol, &reversed)), "a length has no direction");
        const int type = bondTypeGuess(&mol, bond, mode);
        require(allowedGuess(type, mode), "a guess is one of its mode's");
        require(type == bondTypeGuess(&mol, &reversed, mode), "an order has no direction");
        if (bothKnown(mol, *bond) && inOnePlace(mol, *bond))
            require(type == 1, "atoms in one place count as single bonded");
    }
}

void recheck(Molecule &mol) {
    const std::vector<Atom> before(atomsOf(mol).begin(), atomsOf(mol).end());
    const std::vector<Bond *> bonds(bondsOf(mol).begin(), bondsOf(mol).end());
    recheckBonds(&mol);
    for (std::size_t i = 0; i < before.size(); ++i)
        require(samePlace(before[i], mol.atoms[i]) && before[i].element == mol.atoms[i].element,
                "atoms stay as they are");
    auto found = bonds.begin();
    for (const Bond *bond : bondsOf(mol)) {
        found = std::find(found, bonds.end(), bond);
        require(found != bonds.end(), "bonds that stay keep their order and address");
        ++found;
        require(bond->type >= 0 || bond->type == INT_MIN, "no mark is left");
    }
    requireSoundIndex(mol);
}

/// As a host that perceives bonds: all pairs that are near enough, then the judgement.
void perceive(Molecule &mol, int mode) {
    while (mol.bondCount > 0)
        removeBond(&mol, mol.bondCount - 1);
    for (int b = 1; b < mol.atomCount; ++b)
        for (int a = 0; a < b; ++a) {
            Bond pair{a, b, 0, 0, 0, nullptr};
            const int type = bondTypeGuess(&mol, &pair, mode);
            if (type != 0) addBond(&mol, a, b, type);
        }
    recheck(mol);
    for (const Bond *bond : bondsOf(mol))
        require(bond->type <= 5, "perceived bonds have the types of bonds");
}

int typeOrMark(Bytes &bytes) {
    const int choice = bytes.byte();
    return choice < 240 ? choice % 14 - 6 : bytes.wild();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Bytes bytes(data, size);
    const int mode = bytes.below(4);
    const OwnedMol mol = atoms(bytes, 16);
    if (bytes.flag()) createBondlink(mol.get());
    addBonds(bytes, *mol, typeOrMark);
    guessEachBond(*mol, mode);
    recheck(*mol);
    recheck(*mol);
    perceive(*mol, mode);
    return 0;
}
