#include "saddlefit/host.h"
#include "saddlefit/matching.h"
#include "saddlefit/superpose.h"

#include "tests/bromomethane.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <tuple>

// Numbers and names that no honest host or file has, handed through the whole library. What only
// one function answers to is tested with that function.

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

/// The methane with its bonds all whole.
OwnedMol halomethane() {
    OwnedMol mol = molecule(methane, methaneBonds, bromineLeaves);
    mol->bonds[0]->type = 1;
    return mol;
}

/// As it is stored: in its transition state, with one carbon more on the oxygen if it is not to be
/// an exact match.
OwnedMol stored(bool exact) {
    return storedStructure(exact ? "exact" : "super");
}

struct Database : TemporaryFile {
    explicit Database(Molecule &mol) { EXPECT_EQ(store(*this, "stored", mol), 1); }
};

/// What the start of a reaction answers, its progress lines left aside.
int start(Molecule &mol, const char *path) {
    int result = -99;
    printed([&] { result = C_startReaction(&mol, path); });
    return result;
}

Ints atomsNotFinite(const Molecule &mol) {
    Ints atoms;
    for (int i = 0; i < mol.atomCount; ++i)
        if (!std::isfinite(mol.atoms[i].x + mol.atoms[i].y + mol.atoms[i].z)) atoms.push_back(i);
    return atoms;
}

// ---- numbers

void scale(Molecule &mol, double x, double y, double z, double shift) {
    for (Atom &atom : atomsOf(mol)) {
        atom.x = atom.x * x + shift;
        atom.y = atom.y * y - shift;
        atom.z = atom.z * z + shift;
    }
}

/// Places that the atoms of a halomethane are given, and what becomes of it.
const struct {
    const char *label;
    void (*change)(Molecule &);
    bool superposes;    ///< its turned copy falls on it
    bool found;         ///< a partial match is held
    Ints notFiniteThen; ///< atoms, after the start
    int rs;             ///< of the carbon
} oddPlaces[] = {
    {"no number in it", [](Molecule &m) { m.atoms[1].x = NAN; }, false, false, {0, 1, 2, 3, 4}, 0},
    {"no number elsewhere", [](Molecule &m) { m.atoms[3].y = NAN; }, false, true, {3}, 0},
    {"infinite in the centre", [](Molecule &m) { m.atoms[1].x = INFINITY; }, false, false, {1}, 0},
    {"infinite elsewhere", [](Molecule &m) { m.atoms[3].y = -INFINITY; }, false, true, {3}, 0},
    {"squares overflow", [](Molecule &m) { m.atoms[1].x = 1e200; }, false, false, {}, 2},
    {"squares vanish", [](Molecule &m) { m.atoms[1].x = 5e-324; }, true, true, {}, 2},
    {"centre in one place", [](Molecule &m) { m.atoms[1].x = 0; }, true, true, {}, 2},
    {"all in one place", [](Molecule &m) { scale(m, 0, 0, 0, 1.5); }, true, true, {}, 0},
    {"in a row", [](Molecule &m) { scale(m, 1, 0, 0, 0); }, true, true, {}, 0},
    {"in a plane", [](Molecule &m) { scale(m, 1, 1, 0, 0); }, true, true, {}, 0},
    {"far away", [](Molecule &m) { scale(m, 1, 1, 1, 1e6); }, true, true, {}, 2},
};

TEST(OddPlaces, ReactionsEndAndOnlyWhatIsFiniteIsHeld) {
    const OwnedMol partial = stored(false), same = stored(true);
    const Database withPartial(*partial), withExact(*same);
    for (const auto &row : oddPlaces) {
        SCOPED_TRACE(row.label);
        const OwnedMol mol = halomethane(), other = halomethane();
        row.change(*mol);
        row.change(*other);
        EXPECT_EQ(start(*mol, withPartial.path()), 1);
        EXPECT_EQ(atomsNotFinite(*mol), row.notFiniteThen);
        EXPECT_EQ(C_finishReaction(mol.get()), row.found);
        EXPECT_EQ(mol->atoms[1].frozen, row.found);
        if (row.found) {
            EXPECT_NEAR(calcDist(&mol->atoms[0], &mol->atoms[1]), 2, 1e-9) << "as stored";
        }
        EXPECT_EQ(start(*other, withExact.path()), 0);
        EXPECT_EQ(atomsNotFinite(*other), Ints());
    }
}

TEST(OddPlaces, StoredOnesAreNoPartialMatchAndAreCopiedByAnExactOne) {
    for (const bool exact : {false, true}) {
        for (const float number : {NAN, INFINITY}) {
            SCOPED_TRACE(exact);
            const OwnedMol mol = halomethane();
            const Database file(*stored(exact));
            std::FILE *stream = std::fopen(file.path(), "r+b");
            constexpr long bromineX = 5 + 2 + 7 + 2 + 6 + 6 + 14; // header, name, codes, counts, C
            EXPECT_EQ(Fwrite(&number, 4, 1, bromineX, stream), 1);
            std::fclose(stream);
            EXPECT_EQ(start(*mol, file.path()), exact ? 0 : 1);
            EXPECT_EQ(C_finishReaction(mol.get()), 0);
            EXPECT_EQ(atomsNotFinite(*mol), exact ? Ints{1} : Ints{});
        }
    }
}

TEST(OddPlaces, AlignmentsAndMeasurementsEndAndSayWhatIsNoNumber) {
    for (const auto &row : oddPlaces) {
        SCOPED_TRACE(row.label);
        const OwnedMol mol = halomethane(), turned = halomethane();
        row.change(*mol);
        row.change(*turned);
        EXPECT_EQ(getRS(mol.get(), 0), row.rs);
        Ints map(5);
        std::iota(map.begin(), map.end(), 0);
        constrainSub(mol.get(), mol.get(), map.data(), 7);
        EXPECT_EQ(mol->constraintCount, 16) << "as many as anywhere";
        for (const Constraint &constraint : constraintsOf(*mol))
            EXPECT_TRUE(!row.superposes || std::isfinite(constraint.value));

        for (Atom &atom : atomsOf(*turned))
            std::tie(atom.x, atom.y, atom.z) = std::tuple(atom.y, atom.z, atom.x);
        const double misfit = alignMapMols(mol.get(), turned.get(), map.data(), nullptr, nullptr);
        EXPECT_EQ(misfit < 1e-7, row.superposes) << misfit;
        EXPECT_EQ(std::isnan(misfit), !row.superposes);
        EXPECT_EQ(atomsNotFinite(*turned).empty(), row.superposes);
    }
}

// ---- elements

TEST(OddElements, AreMatchedUpTo254) {
    for (const int element : {0, 254, 255}) {
        SCOPED_TRACE(element);
        const bool found = element < 255;
        const OwnedMol mol = halomethane(), candidate = stored(true), asked = halomethane();
        mol->atoms[2].element = candidate->atoms[2].element = element;
        const Database file(*candidate);
        EXPECT_EQ(start(*mol, file.path()), found ? 0 : 1);
        EXPECT_EQ(start(*asked, file.path()), 1) << "fluorine, which the record lacks";
        EXPECT_EQ(C_finishReaction(asked.get()), found ? 1 : 0);
    }
}

// ---- lists of any length

TEST(LongLists, TransitionTextsAndRankKeysGrow) {
    const OwnedMol mol = molecule({{6}, {35}}, "0 1 1");
    setLabels(*mol, {"C1", "Br2"});
    std::string text;
    for (int i = 0; i < 2999; ++i)
        text += "C1 Br2 - - ";
    text += "Br2 - - C1";
    EXPECT_EQ(genTransition(mol.get(), text.c_str()), 1);
    EXPECT_EQ(mol->transitionCount, 3000);
    EXPECT_EQ(mol->transitions[2999].formB, 0);
    EXPECT_EQ(applyTransition(mol.get()), 1);
    EXPECT_EQ(mol->constraintCount, 2999) << "the last half names one atom only";

    // Two chains that differ in their last atoms.
    constexpr int length = 3000;
    const OwnedMol chains = molecule(std::vector<At>(2 * length, {6}));
    chains->atoms[2 * length - 1].element = 8;
    for (int i = 1; i < 2 * length; ++i)
        if (i != length) addBond(chains.get(), i - 1, i, 1);
    Ints ends = {0, length};
    EXPECT_EQ(cmpAtoms(chains.get(), ends.data(), 2, nullptr, 0, -1, nullptr), 2);
    EXPECT_EQ(ends, (Ints{length, 0}));
}

TEST(LongLists, ABondFarBeyondTheEndIsNotMade) {
    const OwnedMol mol = molecule({{6}, {6, 1.5}}, "0 1 1");
    for (const int index : {-1, 65536, 2147483646, 2147483647})
        EXPECT_EQ(C_setBond(mol.get(), index, 0, 1, 1), 0) << index;
    EXPECT_EQ(mol->bondCount, 1);
    EXPECT_EQ(C_setBond(mol.get(), 65535, 0, 1, 2), 1);
    EXPECT_EQ(C_setBond(mol.get(), 65535 + 65535, 0, 1, 2), 1);
    EXPECT_EQ(mol->bondCount, 131071);
}

/// The greatest record that fits the fields: a chain that ends in bromine.
TEST(LongLists, GreatestRecordIsStoredMappedStartedAndFinished) {
    constexpr int most = 65535;
    const OwnedMol chain(C_createMolecule(most, most - 1, 0, 1));
    for (int i = 0; i < most; ++i) {
        chain->atoms[i].element = i == 0 ? 35 : 6;
        chain->atoms[i].x = 1.25 * i;
        chain->atoms[i].y = i % 2;
    }
    for (int i = 0; i < most - 1; ++i)
        C_setBond(chain.get(), i, i, i + 1, i > 0);
    C_setTransition(chain.get(), 0, 0, 1, -1, -1);
    const Database file(*chain);

    const OwnedMol small = molecule({{35}, {6, 1.5}, {6, 2, 1}}, "0 1 1, 1 2 1", {{0, 1, -1, -1}});
    EXPECT_EQ(start(*small, file.path()), 1);
    EXPECT_EQ(C_finishReaction(small.get()), 1);
    EXPECT_NEAR(calcDist(&small->atoms[0], &small->atoms[1]), std::sqrt(1.25 * 1.25 + 1), 1e-6);
    chain->bonds[0]->type = 1;
    EXPECT_EQ(start(*chain, file.path()), 0) << "itself, an exact match";
    EXPECT_EQ(chain->atoms[most - 1].x, 1.25 * (most - 1));
    EXPECT_EQ(createRS(chain.get()), 1);
}

} // namespace
