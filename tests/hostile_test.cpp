#include "saddlefit/bonding.h"
#include "saddlefit/database.h"
#include "saddlefit/host.h"
#include "saddlefit/matching.h"
#include "saddlefit/reaction.h"
#include "saddlefit/superpose.h"

#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <tuple>

// Numbers and names that no honest host or file has, handed through the whole library. What only
// one function answers to is tested with that function.

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

using Ints = std::vector<int>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// CHFBr(OH) that loses its bromine. Coordinates are exact in single precision.
const std::vector<At> methane = {
    {6, 0, 0, 0}, {35, 2, 0, 0}, {9, 0, 1.5, 0}, {8, 0, 0, 1.5}, {1, -0.625, -0.625, -0.625}};
const std::string methaneBonds = "0 1 1, 0 2 1, 0 3 1, 0 4 1";
const std::vector<Transition> bromineLeaves = {{0, 1, -1, -1}};

OwnedMol halomethane() {
    return molecule(methane, methaneBonds, bromineLeaves);
}

/// As it is stored: in its transition state, with one carbon more on the oxygen if it is not to be
/// an exact match.
OwnedMol stored(bool exact) {
    OwnedMol mol = halomethane();
    mol->bonds[0]->type = 0;
    if (exact) return mol;
    addAtom(mol.get(), -1, 1, 2, 6);
    addBond(mol.get(), 3, 5, 1);
    return mol;
}

struct Database : TemporaryFile {
    explicit Database(Molecule &mol) {
        const OwnedBlock<int> code(getTransitionCode(&mol));
        EXPECT_EQ(insertDB(path(), strdup("stored"), code.get(), &mol), 1);
    }
};

/// What the start of a reaction answers, its progress lines left aside.
int start(Molecule &mol, const char *path) {
    int result = -99;
    printed([&] { result = C_startReaction(&mol, path); });
    return result;
}

bool isFinite(const Atom &atom) {
    return std::isfinite(atom.x) && std::isfinite(atom.y) && std::isfinite(atom.z);
}

Ints atomsNotFinite(const Molecule &mol) {
    Ints atoms;
    for (int i = 0; i < mol.atomCount; ++i)
        if (!isFinite(mol.atoms[i])) atoms.push_back(i);
    return atoms;
}

void expectPlaces(const Molecule &mol, const Molecule &expected) {
    for (int i = 0; i < mol.atomCount; ++i) {
        const Atom &atom = expected.atoms[i];
        expectAt(mol.atoms[i], atom.x, atom.y, atom.z, 0);
    }
}

// ---- numbers

/// Places that the atoms of a halomethane are given, and what becomes of it.
const struct {
    const char *label;
    void (*change)(Molecule &);
    bool superposes;    ///< its turned copy falls on it
    bool found;         ///< a partial match is held
    Ints notFiniteThen; ///< atoms, after the start
    int rs;             ///< of the carbon
} oddPlaces[] = {
    {"not a number in the centre",
     [](Molecule &m) { m.atoms[1].x = nan; },
     false,
     false,
     {0, 1, 2, 3, 4},
     0},
    {"not a number elsewhere", [](Molecule &m) { m.atoms[3].y = nan; }, false, true, {3}, 0},
    {"infinite in the centre", [](Molecule &m) { m.atoms[1].x = infinity; }, false, false, {1}, 0},
    {"infinite elsewhere", [](Molecule &m) { m.atoms[3].y = -infinity; }, false, true, {3}, 0},
    {"squares overflow", [](Molecule &m) { m.atoms[1].x = 1e200; }, false, false, {}, 2},
    {"squares vanish", [](Molecule &m) { m.atoms[1].x = 5e-324; }, true, true, {}, 2},
    {"centre in one place", [](Molecule &m) { m.atoms[1].x = 0; }, true, true, {}, 2},
    {"all in one place",
     [](Molecule &m) {
         for (Atom &atom : atomsOf(m))
             atom.x = atom.y = atom.z = 1.5;
     },
     true,
     true,
     {},
     0},
    {"in a row",
     [](Molecule &m) {
         for (int i = 0; i < m.atomCount; ++i)
             m.atoms[i] = {m.atoms[i].element, 0, 0, 0, 0, nullptr, nullptr, 1.0 * i, 0, 0};
     },
     true,
     true,
     {},
     0},
    {"in a plane",
     [](Molecule &m) {
         for (Atom &atom : atomsOf(m))
             atom.z = 0;
     },
     true,
     true,
     {},
     0},
    {"far away",
     [](Molecule &m) {
         for (Atom &atom : atomsOf(m))
             atom.x += 1e6, atom.y -= 1e6, atom.z += 1e6;
     },
     true,
     true,
     {},
     2},
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
        EXPECT_EQ(isFinite(mol->atoms[1]) && mol->atoms[1].frozen, row.found);
        if (row.found) {
            EXPECT_NEAR(calcDist(&mol->atoms[0], &mol->atoms[1]), 2, 1e-9) << "as stored";
        }
        EXPECT_EQ(start(*other, withExact.path()), 0);
        expectPlaces(*other, *same);
    }
}

TEST(OddPlaces, StoredOnesAreNoPartialMatchAndAreCopiedByAnExactOne) {
    for (const bool exact : {false, true}) {
        for (const std::string &number :
             {std::string("\0\0\xC0\x7F", 4), std::string("\0\0\x80\x7F", 4)}) {
            SCOPED_TRACE(exact);
            const OwnedMol mol = halomethane();
            const Database file(*stored(exact));
            std::FILE *stream = std::fopen(file.path(), "r+b");
            constexpr long bromineX = 5 + 2 + 7 + 2 + 6 + 6 + 14; // header, name, codes, counts, C
            EXPECT_EQ(Fwrite(number.data(), 4, 1, bromineX, stream), 1);
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

TEST(OddPlaces, BondsAreSettledAllTheSame) {
    for (const auto &row : oddPlaces) {
        SCOPED_TRACE(row.label);
        for (const auto &[mark, bonds] : {std::pair(-5, "0 1 1, 0 2 1, 0 3 1, 0 4 1"),
                                          {-2, ""},
                                          {-1, "0 1 1, 0 2 1, 0 3 1, 0 4 1"}}) {
            const OwnedMol mol = halomethane();
            row.change(*mol);
            for (Bond *bond : bondsOf(*mol))
                bond->type = mark;
            recheckBonds(mol.get());
            EXPECT_EQ(writtenBonds(*mol), bonds) << mark;
        }
    }
}

// ---- elements

TEST(OddElements, AreMatchedUpTo254) {
    for (const auto &[element, found] :
         {std::pair(0, true), {118, true}, {254, true}, {255, false}}) {
        SCOPED_TRACE(element);
        const OwnedMol mol = halomethane(), candidate = stored(true), asked = halomethane();
        mol->atoms[2].element = candidate->atoms[2].element = element;
        const Database file(*candidate);
        EXPECT_EQ(start(*mol, file.path()), found ? 0 : 1);
        EXPECT_EQ(start(*asked, file.path()), 1) << "fluorine, which the record lacks";
        EXPECT_EQ(C_finishReaction(asked.get()), found ? 1 : 0);
    }
}

TEST(OddElements, UnknownOneEndsACodeAndTheOthersStandInIt) {
    const OwnedMol mol = molecule({{6}, {35}, {0}, {300}, {-4}}, "", {{0, 1, 0, 3}, {0, 4, 1, 2}});
    const auto code = [&mol] {
        const OwnedBlock<int> entries(getTransitionCode(mol.get()));
        int length = 0;
        while (entries.get()[length])
            ++length;
        return Ints(entries.get(), entries.get() + length);
    };
    EXPECT_EQ(code(), (Ints{-4, 6, 6, 35}));
    mol->atoms[2].element = 1;
    EXPECT_EQ(code(), (Ints{-4, 6, 6, 35, 1, 35, 6, 300}));
    EXPECT_EQ(applyTransition(mol.get()), 1);
    EXPECT_EQ(writtenBonds(*mol), "0 3 0, 1 2 0");
}

// ---- bonds that name no atom, and lists of any length

TEST(OddBonds, NoWalkFollowsABondToAMissingAtom) {
    const OwnedMol honest = stored(true), hostile = stored(true);
    constexpr std::array<int, 3> odd[] = {
        {0, 5, 1}, {-1, 3, 2}, {0, 70000, 1}, {99, 98, 1}, {3, 3, 1}};
    for (const auto &[a, b, type] : odd)
        addBond(hostile.get(), a, b, type);
    createBondlink(honest.get());
    createBondlink(hostile.get());
    const auto answers = [](Molecule &mol, Molecule &target) {
        Ints atoms = {1, 2, 3, 4}, map(5, MAP_REQUIRED), all = {0, 1, 2, 3, 4};
        Ints result = {getRS(&mol, 0), cmpAtoms(&mol, atoms.data(), 4, nullptr, 0, 0, nullptr),
                       mapSingleSub(&mol, &target, map.data(), nullptr, 1, 1)};
        constrainSub(&mol, &target, all.data(), 7);
        result.push_back(mol.constraintCount);
        all = {0, 1, -1, -1, -1};
        freezeSub(&mol, &target, all.data());
        result.push_back(mol.constraintCount);
        result.insert(result.end(), atoms.begin(), atoms.end());
        result.insert(result.end(), map.begin(), map.end());
        return result;
    };
    const Ints expected = answers(*honest, *honest);
    EXPECT_EQ(expected, (Ints{1, 4, 5, 16, 6, 2, 3, 4, 1, 0, 1, 2, 3, 4}));
    EXPECT_EQ(answers(*hostile, *honest), expected);
    EXPECT_EQ(answers(*honest, *hostile), expected);
    for (Bond *bond : bondsOf(*hostile))
        bond->type = -5;
    recheckBonds(hostile.get());
    EXPECT_EQ(writtenBonds(*hostile),
              "0 1 1, 0 2 1, 0 3 1, 0 4 1, 0 5 1, -1 3 1, 0 70000 1, 99 98 1, 3 3 1");
}

TEST(OddBonds, StoredOnesToMissingAtomsAreNotFollowed) {
    const OwnedMol candidate = stored(false), mol = halomethane();
    for (const auto &[a, b] : {std::pair(0, 6), {65534, 1}, {4000, 5000}})
        addBond(candidate.get(), a, b, 1);
    EXPECT_EQ(start(*mol, Database(*candidate).path()), 1);
    EXPECT_EQ(mol->constraints[0].value, 2) << "as stored";
    EXPECT_EQ(C_finishReaction(mol.get()), 1);
    expectAt(mol->atoms[1], 2, 0, 0, 1e-9);
}

TEST(LongLists, TransitionTextsAndRankKeysGrow) {
    const OwnedMol mol = molecule({{6}, {35}}, "0 1 1");
    setLabels(*mol, {"C1", "Br2"});
    std::string text;
    for (int i = 0; i < 3000; ++i)
        text += i == 2999 ? "Br2 - - C1" : "C1 Br2 - - ";
    EXPECT_EQ(genTransition(mol.get(), text.c_str()), 1);
    EXPECT_EQ(mol->transitionCount, 3000);
    EXPECT_EQ(mol->transitions[2999].formB, 0);
    EXPECT_EQ(applyTransition(mol.get()), 1);
    EXPECT_EQ(mol->constraintCount, 2999) << "the last half names one atom only";

    // Two chains that differ in their last atoms.
    constexpr int length = 3000;
    const OwnedMol chains(C_createMolecule(2 * length, 2 * length - 2, 0, 0));
    for (int i = 0; i < 2 * length; ++i)
        chains->atoms[i].element = i == 2 * length - 1 ? 8 : 6;
    for (int i = 0; i < 2 * length - 2; ++i)
        C_setBond(chains.get(), i, i < length - 1 ? i : i + 1, i < length - 1 ? i + 1 : i + 2, 1);
    Ints ends = {0, length};
    EXPECT_EQ(cmpAtoms(chains.get(), ends.data(), 2, nullptr, 0, -1, nullptr), 2);
    EXPECT_EQ(ends, (Ints{length, 0}));
}

/// The greatest record that fits the fields: a chain that ends in bromine.
TEST(LongLists, GreatestRecordIsStoredListedMappedStartedAndFinished) {
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
    char **names = nullptr;
    ASSERT_EQ(listDB(file.path(), &names), 1);
    EXPECT_STREQ(names[0], "stored");
    std::free(names[0]);
    std::free(static_cast<void *>(names));

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
