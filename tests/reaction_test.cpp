#include "saddlefit/bonding.h"
#include "saddlefit/host.h"
#include "saddlefit/reaction.h"
#include "saddlefit/superpose.h"

#include "tests/bromomethane.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

using Reals = std::vector<double>;

// ---- codes and transitions

/// A molecule's constraints in short: "1-0-2 90.0000/2" is an angle of level 2.
std::string constraints(const Molecule &mol, bool withLevel = true) {
    std::string text;
    for (const auto &[a, b, c, d, value, parameter, level] : constraintsOf(mol)) {
        text += (text.empty() ? "" : ", ") + std::to_string(a) + '-' + std::to_string(b);
        if (c != -1) text += '-' + std::to_string(c);
        if (d != -1) text += '-' + std::to_string(d);
        char number[32];
        std::snprintf(number, sizeof number, " %.4f", value);
        text += number + (withLevel ? '/' + std::to_string(level) : "");
        EXPECT_EQ(parameter, 0.0);
    }
    return text;
}

Ints codeOf(const std::vector<At> &atoms, const std::vector<Transition> &transitions) {
    const OwnedMol mol = molecule(atoms, "", transitions);
    const OwnedBlock<int> code(getTransitionCode(mol.get()));
    if (!code) return {-99};
    Ints entries;
    for (const int *entry = code.get(); *entry; ++entry)
        entries.push_back(*entry);
    return entries;
}

TEST(TransitionCodes, DependOnElementsAlone) {
    const std::vector<At> atoms = {{6}, {8}, {7}, {6}, {1}, {-4}, {300}, {0}};
    const struct {
        const char *what;
        std::vector<Transition> transitions;
        Ints code;
    } rows[] = {
        {"none", {}, {-99}},
        {"the larger kind goes second", {{2, 0, 1, 0}}, {6, 7, 6, 8}},

        {"sorted", {{0, 4, 3, 1}, {0, 1, 4, 2}}, {1, 6, 6, 8, 1, 7, 6, 8}},
        {"an empty half goes first", {{0, 4, -1, -1}, {0, 1, 0, 2}}, {6, 7, 1, 6, 6, 8}},
        {"missing atoms", {{0, 8, -2, 1}, {INT_MAX, INT_MIN, 0, 1}}, {6, 8}},
        {"no atom at all", {{-1, 9, 9, -1}}, {}},
        {"unknown elements stand in it", {{0, 5, 6, 1}}, {-4, 6, 8, 300}},
        {"element 0 ends it", {{0, 5, 7, 1}}, {-4, 6}},
    };
    for (const auto &[what, transitions, code] : rows)
        EXPECT_EQ(codeOf(atoms, transitions), code) << what;
}

TEST(TransitionTexts, AreReadInGroupsOfFour) {
    const OwnedMol mol = molecule({{6}, {8}, {6}, {6}, {1}}, "", {{0, 1, 0, 1}});
    setLabels(*mol, {"C1", "O2", "C3", "C1"}); // the last atom has no label
    const struct {
        const char *text;
        int result;
        std::vector<Ints> transitions;
    } rows[] = {
        {"C1 O2 x C3", 1, {{0, 1, -1, 2}}},
        {"C1 O2 C3", 0, {}},
        {nullptr, 1, {}},
        {"\tC3  \t O2 - - C1 C3 c3 C", 1, {{2, 1, -1, -1}, {0, 2, -1, -1}}},
        {"C1 O2 - - C1", 0, {{0, 1, -1, -1}}},
        {"C1\nO2 - - -", 1, {{-1, -1, -1, -1}}},
    };
    for (const auto &[text, result, transitions] : rows) {
        SCOPED_TRACE(text ? text : "NULL");
        EXPECT_EQ(genTransition(mol.get(), text), result);
        std::vector<Ints> read;
        for (const auto &[breakA, breakB, formA, formB] : transitionsOf(*mol))
            read.push_back({breakA, breakB, formA, formB});
        EXPECT_EQ(read, transitions);
    }
}

TEST(TransitionMarks, CoverAtomsThatAreNamed) {
    const OwnedMol mol =
        molecule(std::vector<At>(6, {6}), "", {{0, 9, -1, 3}, {INT_MIN, 5, 5, INT_MAX}});
    Ints marks(7, 99);
    mapTransition(mol.get(), marks.data(), -7, -4);
    EXPECT_EQ(marks, Ints({-7, -4, -4, -7, -4, -7, 99}));
}

TEST(ApplyingTransitions, ChangesOrdersAndSetsHalfWayLengths) {
    struct Step {
        int type, result;
        const char *length; // of C-C: 1.531 times the mean of two factors
    };
    const std::vector<Step> falls = {{1, 0, "1.5310"}, {2, 5, "1.4315"}, {3, 2, "1.2631"},
                                     {4, 3, "1.1559"}, {5, 1, "1.4774"}, {9, 0, "1.5310"}};
    const std::vector<Step> rises = {{1, 5, "1.4315"}, {2, 2, "1.2631"}, {3, 3, "1.1559"},
                                     {4, 4, "1.2707"}, {5, 2, "1.3779"}, {-3, 0, "1.5310"}};
    for (const auto &[steps, transition] :
         {std::pair(falls, Transition{1, 0, -1, -1}), std::pair(rises, Transition{-1, -1, 1, 0})}) {
        for (const auto &[type, result, length] : steps) {
            const OwnedMol mol = molecule({{6}, {6}}, "0 1 " + std::to_string(type), {transition});
            EXPECT_EQ(applyTransition(mol.get()), 1);
            EXPECT_EQ(writtenBonds(*mol), "0 1 " + std::to_string(result));
            EXPECT_EQ(constraints(*mol, false), std::string("0-1 ") + length);
        }
    }
}

TEST(ApplyingTransitions, ActsHalfByHalfAndOneAfterAnother) {
    const OwnedMol mol = molecule({{6}, {6}, {8}}, "0 1 2",
                                  {{0, 1, 2, 0},    // appends a bond
                                   {1, 0, -1, 2},   // falls once more
                                   {1, 2, 3, 0},    // no such bond, no such atom
                                   {0, -1, 1, 1}}); // an atom with itself
    C_setConstraint(mol.get(), 5, 0, 1, 2, -1, 90, 1);
    createBondlink(mol.get());
    EXPECT_EQ(applyTransition(mol.get()), 1);
    EXPECT_EQ(writtenBonds(*mol), "0 1 1, 2 0 0, 1 1 0");
    EXPECT_EQ(constraints(*mol, false), "0-1 1.4315, 2-0 1.4100, 0-1 1.4774, 1-1 1.5310");
    EXPECT_EQ(listOf(*mol, 0), Ints({1, 2})) << "rebuilt, with the new bond";
    EXPECT_EQ(listOf(*mol, 1), Ints({0})) << "and without the self-bond";
    mol->transitionCount = 0;
    applyTransition(mol.get());
    EXPECT_EQ(constraints(*mol), "");
    EXPECT_EQ(mol->bondCount, 3);
}

// ---- constraints

TEST(Constraining, CoversBondsPairsAndPathsInOrderAndEachSetOfAtomsOnce) {
    const OwnedMol chain = molecule(std::vector<At>(5, {6}), "0 1 1, 1 2 1, 2 3 1, 3 4 1");
    // Measured in the partners, which stand in reverse order.
    const OwnedMol ref = molecule({{6, 2, 0, 1}, {6, 2, 0, 0}, {6, 0, 0, 0}, {6, 0, 1, 0}});
    Ints map = {3, 2, 1, 0, -1};
    constrainSub(chain.get(), ref.get(), map.data(), 7);
    EXPECT_EQ(constraints(*chain),
              "0-1 1.0000/1, 0-2 2.2361/2, 0-1-2 90.0000/2, 1-2 2.0000/1, 0-3 2.4495/4, 3-2-1-0 "
              "90.0000/4, 1-3 2.2361/2, 1-2-3 90.0000/2, 2-3 1.0000/1");
    EXPECT_EQ(getConstraint(chain.get(), 1, 3, 0, 2), &chain->constraints[5]);
    EXPECT_EQ(getConstraint(chain.get(), -1, 2, 3, 1), &chain->constraints[7]);
    EXPECT_EQ(getConstraint(chain.get(), -1, 3, -1, 2), &chain->constraints[8]);
    EXPECT_EQ(getConstraint(chain.get(), 1, 1, 3, 2), nullptr);

    map = {3, 2, -7, 99, 0}; // 2 and 3 have no partner; 3 and 4 are bonded
    constrainSub(chain.get(), ref.get(), map.data(), 7);
    EXPECT_EQ(constraints(*chain), "0-1 1.0000/1");

    const OwnedMol ring = molecule({{6}, {6, 1}, {6, 0, 1}}, "0 1 1, 1 2 1, 0 2 1");
    map = {0, 1, 2};
    constrainSub(ring.get(), ring.get(), map.data(), 7);
    EXPECT_EQ(constraints(*ring), "0-1 1.0000/1, 1-2 1.4142/2, 1-0-2 90.0000/2, 0-2 1.0000/1");
}

TEST(Measuring, CentreIsTakenOffItsAtoms) {
    const OwnedMol mol = molecule({{6, 1}, {6, 0, 3, 1}, {6, 2, 0, 0}, {6, 4, 3, 5}});
    double centre[3];
    calcCenter(mol->atoms + 1, 3, centre);
    EXPECT_EQ(Reals({centre[0], centre[1], centre[2]}), Reals({2, 2, 2}));
    expectAt(mol->atoms[0], 1, 0, 0, 0);
    expectAt(mol->atoms[1], -2, 1, -1, 0);
    expectAt(mol->atoms[3], 2, 1, 3, 0);
    calcCenter(mol->atoms, 0, centre);
    EXPECT_TRUE(std::isnan(centre[0] + centre[1] + centre[2]) && mol->atoms[0].x == 1);
}
// ---- freezing

// A leg and the hydrogen, on a diagonal, make an angle of acos(-1 / sqrt(3)), 125.2644 degrees.

TEST(Freezing, PlacesMappedAtomsAndKeepsTheAnglesOfTheShell) {
    const OwnedMol mol = asked(), match = storedStructure("super");
    createBondlink(mol.get());
    createBondlink(match.get());
    Ints map = {0, 1, 2, -1, 99};
    mol->atoms[3].frozen = 7;
    EXPECT_EQ(freezeSub(mol.get(), match.get(), map.data()), 1);
    EXPECT_EQ(map, Ints({0, 1, 2, -1, 99}));
    expectAt(mol->atoms[0], 0, 0, 0, 1e-9);
    expectAt(mol->atoms[1], 2, 0, 0, 1e-9);
    expectAt(mol->atoms[2], 0, 1.5, 0, 1e-9);
    expectAt(mol->atoms[3], 0, 0, 1.5, 1e-9); // its own, moved into the frame
    const int frozen[] = {1, 1, 1, 7, 0};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(mol->atoms[i].frozen, frozen[i]) << i;
    EXPECT_EQ(
        constraints(*mol),
        "1-0-3 90.0000/2, 1-0-4 125.2644/2, 2-0-3 90.0000/2, 2-0-4 125.2644/2, 3-0-4 125.2644/2");
}

TEST(Freezing, ShellKeepsItsHandednessAndItsAnyElementRule) {
    // The match has sulfur where the molecule has oxygen, and lists its neighbours backwards.
    const OwnedMol mol = asked();
    const OwnedMol match =
        molecule({{6}, {35, 2, 0, 0}, {9, 0, 1.5, 0}, {16, 0, 3, 3}, {1, -1, -1, -1}},
                 "0 4 1, 0 3 1, 0 2 1, 0 1 0", bromineLeaves);
    createBondlink(mol.get());
    createBondlink(match.get());
    Ints map = {0, 1, -1, -1, -1};
    freezeSub(mol.get(), match.get(), map.data());
    // Fluorine is placed first, on the first partner offered: the hydrogen. Of the two ways to
    // place the other two, the one that keeps the turn F, O, H about C-Br puts O on F and H on S.
    EXPECT_EQ(constraints(*mol), "1-0-2 125.2644/2, 1-0-3 90.0000/2, 1-0-4 90.0000/2, "
                                 "2-0-3 125.2644/2, 2-0-4 144.7356/2, 3-0-4 45.0000/2");
}

// ---- from start to finish

/// Start with the C-Br bond still whole.
int start(const OwnedMol &mol, const char *path) {
    mol->bonds[0]->type = 1;
    int result = -99;
    printed([&] { result = C_startReaction(mol.get(), path); });
    return result;
}

TEST(ReactionRun, WithoutAPartialMatchNothingIsHeld) {
    const Stored other({"other"}), exact({"exact"});
    for (const char *path : {static_cast<const char *>(nullptr), other.path(), exact.path()}) {
        const OwnedMol mol = asked(2.5);
        const bool found = path == exact.path();
        EXPECT_EQ(start(mol, path), found ? 0 : 1);
        EXPECT_STREQ(mol->name, found ? "exact (Exact)" : nullptr);
        if (found) expectAt(mol->atoms[1], 2, 0, 0, 0);
        EXPECT_EQ(mol->bonds[0]->type, 0);
        EXPECT_EQ(constraints(*mol, false), "0-1 1.9330");
        EXPECT_EQ(C_finishReaction(mol.get()), 0);
        EXPECT_EQ(mol->constraintCount - mol->atoms[0].frozen, 1);
    }
}

TEST(ReactionRun, PartialMatchIsHeldPlacedAndReleased) {
    const Stored file({"super"});
    const OwnedMol mol = asked(2.25);
    EXPECT_EQ(start(mol, file.path()), 1);
    EXPECT_STREQ(mol->name, "super");
    EXPECT_EQ(constraints(*mol), "0-1 2.0000/1");
    EXPECT_EQ(C_finishReaction(mol.get()), 1);
    expectAt(mol->atoms[1], 2.125, 0, 0, 1e-5); // 2 centred on 2.25
    EXPECT_NEAR(calcDist(&mol->atoms[2], &mol->atoms[3]), 1.5 * std::sqrt(2), 1e-9);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(mol->atoms[i].frozen, i < 2 ? 1 : 0) << i;
}

TEST(ReactionRun, HeldMatchSurvivesAllButANewSearch) {
    const Stored file({"super"}), other({"other"});
    const struct {
        const char *what, *path;
        bool withTransitions;
        int held;
    } rows[] = {{"no transitions", file.path(), false, 1},
                {"no database", nullptr, true, 1},
                {"found again", file.path(), true, 1},
                {"nothing found", other.path(), true, 0},
                {"unreadable", "/nowhere/at/all", true, 0}};
    for (const auto &[what, path, withTransitions, held] : rows) {
        SCOPED_TRACE(what);
        const OwnedMol first = asked(), second = asked(2.5);
        EXPECT_EQ(start(first, file.path()), 1);
        second->transitionCount = withTransitions ? 1 : 0;
        EXPECT_EQ(start(second, path), 1);
        EXPECT_EQ(C_finishReaction(second.get()), held);
        EXPECT_EQ(second->atoms[1].frozen, held);
        EXPECT_EQ(C_finishReaction(first.get()), 0);
    }
    start(asked(), file.path()); // released at the end of the process
}

TEST(ReactionRun, MoleculeMayGrowShrinkOrChangeBeforeTheFinish) {
    const Stored file({"super"});
    const OwnedMol grown = asked();
    EXPECT_EQ(start(grown, file.path()), 1);
    C_setAtom(grown.get(), 40, 6, 3, "new", 9, 9, 9);
    C_setBond(grown.get(), 1, 0, 40, 1); // was C-F, and still is in the index
    C_setBond(grown.get(), 2, 77, 40, 1);
    C_setBond(grown.get(), 9, 40, 0, 1);
    EXPECT_EQ(C_finishReaction(grown.get()), 1);
    EXPECT_EQ(grown->atoms[0].frozen + grown->atoms[1].frozen, 2);
    EXPECT_EQ(grown->atoms[40].frozen, 3);
    expectAt(grown->atoms[1], 2, 0, 0, 1e-5);

    EXPECT_EQ(start(asked(), file.path()), 1);
    const OwnedMol lone = molecule({{6, 4, 4, 4}});
    EXPECT_EQ(C_finishReaction(lone.get()), 1) << "one mapped atom is left";
    EXPECT_EQ(lone->atoms[0].frozen, 1);
    expectAt(lone->atoms[0], 0, 0, 0, 1e-12);
}

} // namespace
