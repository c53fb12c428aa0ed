#include "saddlefit/molecule.h"

#include "molecule/bondlink.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <type_traits>

static_assert(std::is_standard_layout_v<Molecule> && std::is_trivially_copyable_v<Molecule>);
static_assert(std::is_standard_layout_v<Atom> && std::is_trivially_copyable_v<Atom>);

namespace {

using namespace saddlefit;

template <class T> void releaseArray(T *&array, int &count) {
    releaseBlock(array);
    count = 0;
}

/// Release an array of pointers together with what they point to.
void releaseBlocks(void **&blocks, int &count) {
    for (void *block : countedSpan(blocks, count))
        std::free(block);
    releaseArray(blocks, count);
}

void releaseAtoms(Molecule &mol) {
    for (Atom &atom : atomsOf(mol))
        freeAtom(&atom);
    releaseArray(mol.atoms, mol.atomCount);
}

void releaseBonds(Molecule &mol) {
    for (Bond *bond : bondsOf(mol)) {
        freeBond(bond);
        std::free(bond);
    }
    releaseArray(mol.bonds, mol.bondCount);
}

std::size_t oneMore(int count) {
    return static_cast<std::size_t>(count) + 1;
}

} // namespace

Molecule *createMol(void) {
    auto *mol = allocateArray<Molecule>(1);
    if (!mol) return nullptr;
    mol->hostReal1 = 1e38;
    mol->hostInt2 = 100;
    mol->hostReal2 = 10.0;
    mol->hostInt4 = 5000;
    return mol;
}

void cleanMol(Molecule *mol) {
    if (!mol) return;
    freeRings(mol);
    freeBondlink(mol);
    releaseBlock(mol->name);
    releaseBlock(mol->hostData1);
    releaseBlock(mol->hostData2);
    releaseBlock(mol->hostData3);
    releaseBlocks(mol->hostStrings, mol->hostStringCount);
    releaseBlocks(mol->hostItems, mol->hostItemCount);
    releaseAtoms(*mol);
    releaseBonds(*mol);
    releaseArray(mol->constraints, mol->constraintCount);
    releaseArray(mol->hostArray5, mol->hostArray5Count);
    releaseArray(mol->transitions, mol->transitionCount);
    releaseArray(mol->hostArray1, mol->hostArray1Count);
    releaseArray(mol->hostArray2, mol->hostArray2Count);
    releaseArray(mol->hostArray3, mol->hostArray3Count);
    releaseArray(mol->hostArray4, mol->hostArray4Count);
    releaseBlocks(mol->hostLists1, mol->hostLists1Count);
    releaseBlocks(mol->hostLists2, mol->hostLists2Count);
}

void freeMol(Molecule *mol) {
    cleanMol(mol);
    std::free(mol);
}

void freeRings(Molecule *mol) {
    if (!mol->rings) return;
    for (Ring *ring : countedSpan(mol->rings, mol->ringCount)) {
        std::free(ring->ringAtoms);
        std::free(ring);
    }
    releaseArray(mol->rings, mol->ringCount);
}

void initAtom(Atom *atom) {
    *atom = Atom{};
}

void addAtom(Molecule *mol, double x, double y, double z, int element) {
    if (!resizeArray(mol->atoms, oneMore(mol->atomCount))) return;
    Atom &atom = mol->atoms[mol->atomCount++];
    initAtom(&atom);
    atom.x = x;
    atom.y = y;
    atom.z = z;
    atom.element = element;
    if (mol->bondlink) growBondlink(*mol);
}

void removeAtom(Molecule *, int) {}

void freeAtom(Atom *atom) {
    std::free(atom->label);
    std::free(atom->atomData);
}

void initBond(Bond *bond) {
    *bond = Bond{};
}

void addBond(Molecule *mol, int atom1, int atom2, int type) {
    OwnedBlock<Bond> bond(allocateArray<Bond>(1));
    if (!bond || !resizeArray(mol->bonds, oneMore(mol->bondCount))) return;
    initBond(bond.get());
    bond->atom1 = atom1;
    bond->atom2 = atom2;
    bond->type = type;
    if (mol->bondlink) linkBond(*mol, bond.get());
    mol->bonds[mol->bondCount++] = bond.release();
}

void removeBond(Molecule *mol, int index) {
    if (index < 0 || index >= mol->bondCount) return;
    Bond *bond = mol->bonds[index];
    if (mol->bondlink) unlinkBond(*mol, bond);
    freeBond(bond);
    std::free(bond);
    const auto bonds = bondsOf(*mol);
    std::shift_left(bonds.begin() + index, bonds.end(), 1);
    --mol->bondCount;
    resizeArray(mol->bonds, static_cast<std::size_t>(mol->bondCount));
}

void freeBond(Bond *bond) {
    std::free(bond->bondData);
}
