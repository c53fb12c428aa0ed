#include "saddlefit/host.h"
#include "saddlefit/molecule.h"

#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstddef>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

using Reals = std::vector<double>;

// ---- records

TEST(Records, LayoutIsFixed) {
    using M = Molecule;
    using Sizes = std::vector<std::size_t>;
    EXPECT_EQ(Sizes({sizeof(Atom), offsetof(Atom, label), offsetof(Atom, x), sizeof(Bond),
                     offsetof(Bond, type), offsetof(Bond, bondData), sizeof(Constraint),
                     offsetof(Constraint, value), offsetof(Constraint, level), sizeof(Transition),
                     sizeof(BondlinkNode), offsetof(BondlinkNode, next)}),
              Sizes({64, 24, 40, 32, 12, 24, 40, 16, 32, 16, 16, 8}));
    EXPECT_EQ(Sizes({offsetof(M, flags), offsetof(M, atoms), offsetof(M, bonds),
                     offsetof(M, bondlink), offsetof(M, rings), offsetof(M, constraints),
                     offsetof(M, transitions), offsetof(M, hostReal1), offsetof(M, hostReal2),
                     offsetof(M, hostLists2Count), sizeof(M)}),
              Sizes({32, 72, 88, 104, 112, 192, 224, 240, 264, 304, 312}));
}

/// Of the fields that a molecule does not own only these five are not 0.
void expectEmpty(const Molecule &mol, int bondlinkBuilt, int hostInt1) {
    Molecule expected;
    std::memset(&expected, 0, sizeof expected);
    expected.bondlinkBuilt = bondlinkBuilt;
    expected.hostReal1 = 1e38;
    expected.hostInt1 = hostInt1;
    expected.hostInt2 = 100;
    expected.hostReal2 = 10.0;
    expected.hostInt4 = 5000;
    EXPECT_EQ(std::memcmp(&mol, &expected, sizeof expected), 0);
}

/// A molecule with something in every field that it owns.
OwnedMol fullMolecule() {
    OwnedMol mol = molecule({{6}, {8}}, "0 1 2", {{0, 1, -1, -1}});
    setLabels(*mol, {"C1", "O2"});
    mol->atoms[1].atomData = std::malloc(8);
    mol->bonds[0]->bondData = std::malloc(8);
    createBondlink(mol.get());
    C_setName(mol.get(), "carbon monoxide");
    C_setConstraint(mol.get(), 0, 0, 1, -1, -1, 1.1, 0);
    for (void **owned : {&mol->hostData1, &mol->hostData2, &mol->hostData3, &mol->hostArray1,
                         &mol->hostArray2, &mol->hostArray3, &mol->hostArray4, &mol->hostArray5})
        *owned = std::malloc(8);
    for (void ***lists : {&mol->hostStrings, &mol->hostItems, &mol->hostLists1, &mol->hostLists2}) {
        *lists = allocateArray<void *>(2);
        (*lists)[1] = std::malloc(8);
    }
    for (int *count : {&mol->hostStringCount, &mol->hostItemCount, &mol->hostLists1Count,
                       &mol->hostLists2Count, &mol->hostArray1Count, &mol->hostArray2Count,
                       &mol->hostArray3Count, &mol->hostArray4Count, &mol->hostArray5Count})
        *count = 2;
    mol->rings = allocateArray<Ring *>(1);
    mol->rings[0] = allocateArray<Ring>(1);
    mol->rings[0]->ringAtoms = allocateArray<int>(3);
    mol->ringCount = 1;
    return mol;
}

TEST(Records, StartEmptyAndAreEmptyAgainOnceCleaned) {
    expectEmpty(*OwnedMol(createMol()), 0, 0);
    const OwnedMol mol = fullMolecule();
    mol->hostInt1 = 17;
    cleanMol(mol.get());
    cleanMol(mol.get()); // twice is harmless
    expectEmpty(*mol, 1, 17);
    cleanMol(nullptr);
    freeMol(nullptr);
}

TEST(Records, AtomsAndBondsStartEmptyAndAtomsStay) {
    const Atom noAtom{};
    const Bond noBond{};
    Atom atom{7, 7, 7, 7, 7, nullptr, &atom, 7, 7, 7};
    Bond bond{7, 7, 7, 7, 7, &bond};
    initAtom(&atom);
    initBond(&bond);
    EXPECT_EQ(std::memcmp(&atom, &noAtom, sizeof atom), 0);
    EXPECT_EQ(std::memcmp(&bond, &noBond, sizeof bond), 0);
    const OwnedMol mol = molecule({{6, 1, 2, 3}, {8}}, "0 1 1");
    removeAtom(mol.get(), 0);
    expectAt(mol->atoms[0], 1, 2, 3, 0);
    EXPECT_EQ(mol->bondlink, nullptr) << "adding builds no index";
}

// ---- index of bonds

TEST(BondIndex, ListsBondsInOrderAndLeavesOutWhatNamesNoTwoAtoms) {
    const OwnedMol mol =
        molecule({{6}, {6}, {6}, {1}}, "1 2 1, 2 2 1, 0 1 1, 1 4 1, -1 0 1, 2147483647 2 1, 2 1 2");
    ASSERT_EQ(createBondlink(mol.get()), 1);
    ASSERT_EQ(createBondlink(mol.get()), 1) << "in place of the first";
    EXPECT_EQ(mol->bondlinkBuilt, 1);
    const Ints lists[] = {{1}, {2, 0, 2}, {1, 1}, {}};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(listOf(*mol, i), lists[i]);
    EXPECT_EQ(mol->bondlink[1]->bond, mol->bonds[0]) << "the molecule's own record";
    freeBondlink(mol.get());
    freeBondlink(mol.get());
    EXPECT_EQ(mol->bondlink, nullptr);
    EXPECT_EQ(mol->bondlinkBuilt, 1) << "is never cleared";
}

TEST(BondIndex, FollowsAdditionsAndRemovals) {
    const OwnedMol mol = molecule({{6}, {6}, {6}}, "0 1 1, 1 2 1");
    createBondlink(mol.get());
    addAtom(mol.get(), 0, 0, 0, 8);
    EXPECT_EQ(listOf(*mol, 3), Ints());
    addBond(mol.get(), 3, 1, 1);
    addBond(mol.get(), 1, 9, 1);
    addBond(mol.get(), 2, 2, 1);
    EXPECT_EQ(listOf(*mol, 1), Ints({0, 2, 3})) << "new bonds at the end, none to a missing atom";
    EXPECT_EQ(listOf(*mol, 2), Ints({1, 2, 2})) << "twice for an atom with itself";

    const Bond *third = mol->bonds[2];
    for (const int index : {-1, 5, INT_MAX, 1})
        removeBond(mol.get(), index);
    EXPECT_EQ(writtenBonds(*mol), "0 1 1, 3 1 1, 1 9 1, 2 2 1");
    EXPECT_EQ(mol->bonds[1], third) << "a bond keeps its address";
    EXPECT_EQ(listOf(*mol, 1), Ints({0, 3}));
    while (mol->bondCount > 0)
        removeBond(mol.get(), mol->bondCount - 1);
    EXPECT_EQ(listOf(*mol, 2), Ints());
}

TEST(BondIndex, BondsAreFoundInEitherOrderWithAndWithoutIt) {
    const OwnedMol mol = molecule({{6}, {6}, {6}, {6}}, "2 3 1, 1 0 1, 0 1 2");
    for (const bool indexed : {false, true}) {
        SCOPED_TRACE(indexed);
        if (indexed) createBondlink(mol.get());
        const std::array<int, 3> rows[] = {{0, 1, 1}, {3, 2, 0}, {0, 2, -10}, {-1, 99, -10}};
        for (const auto &[a, b, number] : rows) {
            EXPECT_EQ(getBond(mol.get(), a, b), number < 0 ? nullptr : mol->bonds[number]);
            EXPECT_EQ(getBondNumber(mol.get(), a, b), number);
        }
    }
}

TEST(BondIndex, HeaviestNeighbourIsTheFirstOfEquals) {
    const OwnedMol mol = molecule({{6}, {6}, {8}, {8}, {0}, {0}}, "0 1 1, 2 0 1, 0 3 1, 4 5 1");
    EXPECT_EQ(getBondAdjAtom(mol.get(), nullptr, 0), -1) << "without an index";
    createBondlink(mol.get());
    EXPECT_EQ(getBondAdjAtom(mol.get(), nullptr, 0), 2);
    EXPECT_EQ(getBondAdjAtom(mol.get(), mol->bonds[1], 0), 3);
    EXPECT_EQ(getBondAdjAtom(mol.get(), mol->bonds[0], 1), -1);
    EXPECT_EQ(getBondAdjAtom(mol.get(), nullptr, 4), 5) << "an unknown element counts as well";
    EXPECT_EQ(getBondAdjAtom(mol.get(), nullptr, 6), -1);
}

TEST(BondIndex, SurvivesAMoleculeThatGrewOrChangedBehindIt) {
    const OwnedMol mol = molecule({{6}, {6}}, "0 1 1, 0 1 1");
    createBondlink(mol.get());
    C_setAtom(mol.get(), 5, 8, 0, nullptr, 0, 0, 0);
    EXPECT_EQ(getBond(mol.get(), 5, 0), nullptr) << "a missing list is an empty one";
    EXPECT_EQ(getBondAdjAtom(mol.get(), nullptr, 4), -1);
    C_setBond(mol.get(), 0, 5, 3, 1);
    C_setBond(mol.get(), 1, 0, 99, 1);
    EXPECT_EQ(getBond(mol.get(), 0, 5), mol->bonds[0]) << "a stale bond leads to its first atom";
    EXPECT_EQ(getBondAdjAtom(mol.get(), mol->bonds[0], 0), -1) << "99 is no atom";
    removeBond(mol.get(), 0);
    EXPECT_EQ(listOf(*mol, 0), Ints({99}));
    addBond(mol.get(), 5, 4, 1);
    EXPECT_EQ(listOf(*mol, 5), Ints({4})) << "adding to a new atom grows the index";
    C_setAtom(mol.get(), 8, 8, 0, nullptr, 0, 0, 0);
    addAtom(mol.get(), 0, 0, 0, 1);
    EXPECT_EQ(listOf(*mol, 9), Ints());
    C_setAtom(mol.get(), 30, 8, 0, nullptr, 0, 0, 0);
}

// ---- scratch blocks

TEST(Scratch, BlocksAreReusedAndGrowInPlaceOfThemselves) {
    auto *a = static_cast<unsigned char *>(staticMalloc(nullptr, 16));
    void *b = staticMalloc(nullptr, 16);
    EXPECT_EQ(staticMalloc(a, 3), a);
    a[15] = 0x5A;
    a = static_cast<unsigned char *>(staticMalloc(a, 1 << 20));
    EXPECT_EQ(a[15], 0x5A);
    a[(1 << 20) - 1] = 1;
    EXPECT_EQ(staticMalloc(a, 1 << 20), a);
    EXPECT_EQ(staticMalloc(b, 16), b) << "its neighbour is left alone";
    EXPECT_NE(staticMalloc(&b, 4), &b) << "an unknown block is answered by a new one";
    for (int i = 0; i < 3000; ++i)
        ASSERT_NE(staticMalloc(nullptr, 1), nullptr) << i;
    C_freeMolecule(createMol()); // releases them all
}

// ---- host interface

Ints countsOf(const Molecule &mol) {
    return {mol.atomCount, mol.bondCount, mol.constraintCount, mol.transitionCount};
}

TEST(Host, SettersGrowAndGettersStopAtTheCount) {
    const OwnedMol owned(C_createMolecule(0, 0, 0, 0));
    Molecule *mol = owned.get();
    int a = -7, b = -7, c = -7, d = -7;
    double x = -7, y = -7, z = -7;
    const char *label = "untouched";
    EXPECT_EQ(C_setAtom(mol, 4, 8, 1, "O5", 1, 2, 3), 1);
    EXPECT_EQ(C_setBond(mol, 2, 4, 3, 5), 1);
    EXPECT_EQ(C_setConstraint(mol, 1, 1, 2, 3, -1, 104.5, 0.25), 1);
    EXPECT_EQ(C_setTransition(mol, 0, 0, 1, -1, 3), 1);
    EXPECT_EQ(countsOf(*mol), Ints({5, 3, 2, 1}));
    EXPECT_EQ(C_getAtom(mol, 5, &a, &b, &label, &x, &y, &z) +
                  C_getAtom(mol, -1, &a, &b, &label, &x, &y, &z) + C_getBond(mol, 3, &a, &b, &c) +
                  C_getConstraint(mol, 2, &a, &b, &c, &d, &x, &y) +
                  C_getTransition(mol, 1, &a, &b, &c, &d),
              0);
    EXPECT_EQ(label + std::to_string(x + y + z + a + b + c + d), "untouched-49.000000");

    EXPECT_EQ(C_getAtom(mol, 4, &a, &b, &label, &x, &y, &z), 1);
    EXPECT_STREQ(label, "O5");
    EXPECT_EQ(Reals({1.0 * a, 1.0 * b, x, y, z}), Reals({8, 1, 1, 2, 3}));
    EXPECT_EQ(C_getAtom(mol, 3, &a, nullptr, &label, nullptr, nullptr, nullptr), 1);
    EXPECT_FALSE(a || label) << "an atom in between starts empty";
    EXPECT_EQ(writtenBonds(*mol), "0 0 0, 0 0 0, 4 3 5");
    EXPECT_EQ(C_getBond(mol, 2, &a, &b, &c), 1);
    EXPECT_EQ(Ints({a, b, c}), Ints({4, 3, 5}));
    mol->constraints[1].level = 9;
    EXPECT_EQ(C_setConstraint(mol, 1, 1, 2, 4, -1, 104.5, 0.5), 1);
    EXPECT_EQ(mol->constraints[1].level, 9) << "is not written";
    EXPECT_EQ(C_getConstraint(mol, 1, &a, &b, &c, &d, &x, &y), 1);
    EXPECT_EQ(Reals({1.0 * a, 1.0 * b, 1.0 * c, 1.0 * d, x, y}), Reals({1, 2, 4, -1, 104.5, 0.5}));
    EXPECT_EQ(C_getTransition(mol, 0, &a, &b, &c, &d), 1);
    EXPECT_EQ(Ints({a, b, c, d}), Ints({0, 1, -1, 3}));
}

TEST(Host, TextsAreCopiedAndReplaced) {
    const OwnedMol owned(C_createMolecule(1, 2, 3, 4));
    Molecule *mol = owned.get();
    EXPECT_EQ(countsOf(*mol), Ints({1, 2, 3, 4}));
    char text[] = "first";
    C_setName(mol, text);
    C_setAtom(mol, 0, 6, 0, text, 0, 0, 0);
    mol->atoms[0].rs = 2;
    text[0] = 'F';
    C_setName(mol, mol->name + 2); // part of its own text
    C_setAtom(mol, 0, 6, 0, mol->atoms[0].label, 0, 0, 0);
    EXPECT_STREQ(mol->name, "rst");
    EXPECT_STREQ(mol->atoms[0].label, "first");
    const char *name = nullptr;
    EXPECT_EQ(C_getName(mol, &name), 1);
    EXPECT_EQ(name, mol->name);
    C_setName(mol, nullptr);
    C_setAtom(mol, 0, 7, 0, nullptr, 0, 0, 0);
    EXPECT_FALSE(mol->name || mol->atoms[0].label);
    EXPECT_EQ(mol->atoms[0].rs, 2) << "other fields keep their values";
}

TEST(Host, RefusesWhatItCannotCoverAndChangesNothing) {
    const OwnedMol mol(C_createMolecule(1, 1, 1, 1));
    const auto setAll = [](Molecule *molecule, int index) {
        return C_setAtom(molecule, index, 6, 0, "C", 0, 0, 0) +
               C_setBond(molecule, index, 0, 0, 1) +
               C_setConstraint(molecule, index, 0, 0, 0, 0, 0, 0) +
               C_setTransition(molecule, index, 0, 0, 0, 0);
    };
    for (const int bad : {-1, INT_MIN, INT_MAX})
        EXPECT_EQ(setAll(mol.get(), bad), 0) << bad;
    EXPECT_EQ(countsOf(*mol), Ints(4, 1));
    EXPECT_EQ(mol->atoms[0].element, 0);
    for (int bad = 0; bad < 4; ++bad)
        EXPECT_EQ(C_createMolecule(-(bad == 0), -(bad == 1), -(bad == 2), -(bad == 3)), nullptr);

    int i = -7;
    double r = -7;
    const char *text = nullptr;
    EXPECT_EQ(setAll(nullptr, 0), 0);
    EXPECT_EQ(C_setName(nullptr, "x") + C_getName(nullptr, &text) +
                  C_getAtom(nullptr, 0, &i, &i, &text, &r, &r, &r) +
                  C_getBond(nullptr, 0, &i, &i, &i) +
                  C_getConstraint(nullptr, 0, &i, &i, &i, &i, &r, &r) +
                  C_getTransition(nullptr, 0, &i, &i, &i, &i) + C_startReaction(nullptr, "x") +
                  C_finishReaction(nullptr) + C_getRS(nullptr, &i),
              0);
    EXPECT_EQ(i, -7);
    C_freeMolecule(nullptr);
}

TEST(Host, StereoCodesOfAllAtomsAreReadInOrder) {
    EXPECT_EQ(C_getRS(OwnedMol(createMol()).get(), nullptr), 1) << "no atoms, nothing to write";
    const OwnedMol mol =
        molecule({{1, -1, -1, -1}, {6}, {9, 1, 0, 0}, {17, 0, 1, 0}, {35, 0, 0, 1}},
                 "0 1 1, 1 2 1, 1 3 1, 1 4 1");
    Ints codes(6, -7);
    EXPECT_EQ(C_getRS(mol.get(), codes.data()), 1);
    EXPECT_EQ(codes, Ints({0, 1, 0, 0, 0, -7}));
}

} // namespace
