#include "saddlefit/interrupt.h"
#include "saddlefit/matching.h"
#include "saddlefit/superpose.h"

#include "tests/bromomethane.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <random>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

/// The lines that tell of a candidate.
std::string starts(const char *kind, int score, int weight) {
    return std::string("Starting with ") + kind + " set, " + std::to_string(score) + " score, " +
           std::to_string(weight) + " weight\n";
}
std::string ends(const char *kind, int score, int weight, const char *labels = "C1 Br2 F3 O4 \n") {
    return "Ending" + starts(kind, score, weight).substr(std::strlen("Starting")) + labels;
}

const std::string startExact = starts("exact", 4, 8), startFar = starts("super", 4, 6);
const std::string super = starts("super", 4, 8) + ends("super", 4, 8);
const std::string sub = startExact + ends("sub", 4, 8);
const std::string extra = starts("super", 4, 10) + ends("super", 4, 7);
const std::string without = starts("none", 3, 3) + ends("none", 3, 3, "C1 Br2 F3 \n");
const std::string far = startFar + ends("none", 3, 3, "C1 Br2 O4 \n");
TEST(Searching, PrefersClassThenWeightThenMisfitThenFileOrder) {
    const struct {
        std::vector<std::string> stored;
        std::string output, name; // name of the molecule afterwards
    } rows[] = {
        {{"none", "sub", "super", "exact"}, without + sub + super + startExact, "exact (Exact)"},
        {{"exact", "exact 3"}, startExact, "exact (Exact)"},
        {{"super", "sub", "none", "far", "extra"}, super + startExact + startFar + extra, "super"},
        {{"sub 3", "extra"}, sub + extra, "extra"},
        {{"extra", "super 3"}, extra + super, "super 3"},

        {{"none", "bare"}, without + starts("none", 2, -2), "none"},
        {{"none", "far 3"}, without + far, "none"},
        {{"super 2.5", "super 2.25", "super 2.250"}, super + super + super, "super 2.25"},
        {{"other", "super 2.5", "hostile"}, super, "super 2.5"},
    };
    for (const auto &[stored, output, name] : rows) {
        SCOPED_TRACE(output);
        const Stored file(stored);
        const OwnedMol mol = asked();
        const Found found = search(file.path(), *mol);
        EXPECT_EQ(found.result, 1);
        EXPECT_EQ(found.output, output);
        EXPECT_STREQ(mol->name, name.c_str());
        const bool exact = name.ends_with(" (Exact)");
        EXPECT_EQ(found.match == nullptr, exact);
        EXPECT_EQ(found.partners(5), exact ? Ints() : Ints({0, 1, -1, -1, -1}));
        if (!exact) {
            EXPECT_STREQ(found.match->name, name.c_str());
        }
    }
}

TEST(Searching, MatchIsGivenInTheHandednessThatMapped) {
    const Stored exact({"exact 2.25"});
    for (const bool mirrored : {false, true}) {
        SCOPED_TRACE(mirrored);
        const double sign = mirrored ? -1 : 1;
        const OwnedMol same = asked(2, mirrored), mol = asked(2, mirrored);
        std::swap(same->atoms[2], same->atoms[3]);
        std::swap(same->bonds[1]->atom2, same->bonds[2]->atom2);
        EXPECT_EQ(search(exact.path(), *same).result, 1);
        expectAt(same->atoms[1], sign * 2.25, 0, 0, 0);
        expectAt(same->atoms[2], 0, 0, 1.5, 0);
        expectAt(same->atoms[4], sign * -0.625, -0.625, -0.625, 0);

        const Stored partial({"super 2.5"});
        const Found found = search(partial.path(), *mol);
        ASSERT_NE(found.match, nullptr);
        const Atom *atoms = found.match->atoms;
        EXPECT_EQ(calcChirality(atoms, atoms + 1, atoms + 2, atoms + 3, atoms + 4), -sign)
            << "minus the product of three positive legs, or plus";
        expectAt(mol->atoms[0], 0, 0, 0, 1e-12);
        expectAt(mol->atoms[1], 2, 0, 0, 1e-12);
        expectAt(atoms[0], -0.25, 0, 0, 1e-5); // 2.5 centred on 2
        expectAt(atoms[1], 2.25, 0, 0, 1e-5);
    }
}

TEST(Searching, BestOfSeveralMappingsIsHandedBack) {
    // CBr2 whose bonds, 2 and 2.75 long, are stored the other way round; a fluorine makes it super.
    const std::vector<Transition> bothLeave = {{0, 1, -1, -1}, {0, 2, -1, -1}};
    const TemporaryFile file;
    store(file, "swapped",
          *molecule({{6}, {35, 2.75}, {35, 0, 2}, {9}}, "0 1 0, 0 2 0, 0 3 1", bothLeave));
    const OwnedMol mol = molecule({{6}, {35, 2}, {35, 0, 2.75}}, "0 1 0, 0 2 0", bothLeave);
    const Found found = search(file.path(), *mol);
    EXPECT_EQ(found.partners(3), Ints({0, 2, 1}));
    EXPECT_EQ(found.output,
              starts("super", 3, 2) + ends("super", 3, -1, "(null) (null) (null) \n"));
}

std::vector<std::uint64_t> coordinateBits(const Molecule &mol) {
    std::vector<std::uint64_t> bits;
    for (const Atom &atom : atomsOf(mol))
        for (const double value : {atom.x, atom.y, atom.z})
            bits.push_back(std::bit_cast<std::uint64_t>(value));
    return bits;
}

/// A candidate that is alone has nothing to lose against: each of its solutions is superposed.
TEST(Searching, LeavesOutSolutionsThatLoseAndChangesNoDigit) {
    std::mt19937 engine(81);
    std::uniform_real_distribution<double> place(-2, 2);
    std::normal_distribution<double> noise;
    const std::vector<Transition> allLeave = {{0, 1, -1, -1}, {0, 2, -1, -1}, {0, 3, -1, -1}};
    const std::string bonds = "0 1 0, 0 2 0, 0 3 0, 0 4 1";
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        std::vector<At> shape = {{6}, {35}, {35}, {35}, {9}};
        for (At &atom : shape)
            atom = {atom.element, place(engine), place(engine), place(engine)};
        const auto scattered = [&](double width) {
            std::vector<At> atoms = shape;
            for (At &atom : atoms)
                for (double *value : {&atom.x, &atom.y, &atom.z})
                    *value += width * noise(engine);
            return atoms;
        };
        const std::vector<At> wanted = scattered(0.1);
        const OwnedMol mol = molecule(wanted, bonds, allLeave);
        const TemporaryFile all;
        Found expected;
        double least = 1e6;
        for (int i = 0; i < 8; ++i) { // one with a carbon more, so that all are of a class
            std::vector<At> atoms = scattered(i % 4 ? 0.5 : 0.01);
            atoms.push_back({6, 0, 0, 5});
            for (At &atom : atoms)
                if (i % 3 == 0) atom.z = -atom.z;
            const OwnedMol candidate = molecule(atoms, bonds + ", 4 5 1", allLeave);
            const OwnedMol same = molecule(wanted, bonds, allLeave);
            const TemporaryFile one;
            EXPECT_EQ(store(all, "n", *candidate) + store(one, "n", *candidate), 2);
            Found alone = search(one.path(), *same);
            ASSERT_TRUE(alone.match);
            double m[16];
            const double misfit =
                alignMapMols(same.get(), alone.match.get(), alone.map.get(), m, m);
            if (misfit < least) expected = std::move(alone);
            least = std::min(least, misfit);
        }
        const Found found = search(all.path(), *mol);
        ASSERT_TRUE(found.match);
        EXPECT_EQ(found.partners(5), expected.partners(5));
        EXPECT_EQ(coordinateBits(*found.match), coordinateBits(*expected.match));
    }
}

TEST(Searching, CountsBelowZeroLowerTheScoreAndAreNotZero) {
    const TemporaryFile file;
    store(file, "one F", *molecule({{6}, {35, 2}, {9, 0, 1.5}}, "0 1 0, 0 2 1", bromineLeaves));
    // Two fluorines are required though no bond of theirs changes; the record lacks one.
    const OwnedMol mol = molecule({{6}, {35, 2}, {9, 0, 1.5}, {9, 0, 0, 1.5}},
                                  "0 1 0, 0 2 1, 0 3 1", {{0, 1, 2, -1}, {-1, 3, -1, -1}});
    const Found found = search(file.path(), *mol);
    EXPECT_EQ(std::to_string(found.result) + found.output, "0" + starts("none", 3, 2));
}

TEST(Searching, FindingNothingTakesTheFrameOnly) {
    const Stored other({"other"}), same({"exact"});
    for (const char *path : {other.path(), "/nowhere/at/all", same.path()}) {
        const bool withTransitions = path != same.path();
        const OwnedMol mol = asked(2.5);
        if (!withTransitions) mol->transitionCount = 0;
        Molecule *match = mol.get();
        int marker = 0, *map = &marker;
        EXPECT_EQ(printed([&] { EXPECT_EQ(mapDB(path, mol.get(), &match, &map), 0); }), "");
        EXPECT_EQ(match, withTransitions ? nullptr : mol.get());
        EXPECT_EQ(map, withTransitions ? nullptr : &marker);
        EXPECT_EQ(mol->name, nullptr);
        EXPECT_EQ(mol->bondlink != nullptr, withTransitions);
        if (withTransitions)
            expectAt(mol->atoms[1], 2.5, 0, 0, 1e-12);
        else
            expectAt(mol->atoms[1], 5, -0.5, 1, 0);
    }
    for (const int element : {255, 300, -1, INT_MAX}) { // beyond the table of elements
        const OwnedMol mol = asked();
        mol->atoms[4].element = element;
        const Found found = search(same.path(), *mol);
        EXPECT_EQ(std::to_string(found.result) + found.output, "0");
    }
}

TEST(Searching, TransitionsThatNameNoAtomReachAnEmptyAlignment) {
    const TemporaryFile file;
    const std::vector<Transition> nowhere = {{-5, 99, 99, 7}};
    const int32_t noCode = 0;
    ASSERT_EQ(insertDB(file.path(), strdup("empty"), &noCode, storedStructure("super").get()), 1);
    const OwnedMol mol = molecule(methane, methaneBonds, nowhere);
    const Found found = search(file.path(), *mol);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.partners(5), Ints(5, -1));
    expectAt(mol->atoms[1], 2, 0, 0, 0);
    search(file.path(), *molecule({}, "", nowhere)); // not even atoms
}

TEST(Searching, FilterReadsAllRecordsOfACodeInFileOrder) {
    const TemporaryFile file;
    const OwnedMol wanted = molecule({{6}, {35}}, "", bromineLeaves);
    const OwnedMol other = molecule({{6}, {17}}, "", bromineLeaves);
    for (int i = 0; i < 202; ++i)
        store(file, std::to_string(i), i % 2 ? *wanted : *other);
    int code[] = {6, 35, 0}, unknown[] = {6, 36, 0};
    Molecule **list = nullptr;
    EXPECT_EQ(filterDB("/nowhere/at/all", code, &list) + filterDB(nullptr, code, &list) +
                  filterDB(file.path(), unknown, &list),
              0);
    EXPECT_EQ(list, nullptr);
    ASSERT_EQ(filterDB(file.path(), code, &list), 101);
    for (int i = 0; i < 101; ++i) {
        EXPECT_EQ(list[i]->name, std::to_string(2 * i + 1));
        freeMol(list[i]);
    }
    std::free(static_cast<void *>(list));
}

/// Ends whatever asks it for the n-th time, and says so from then on.
int isSpent(void *questionsLeft) {
    return --*static_cast<int *>(questionsLeft) <= 0;
}

TEST(Interrupting, EndsAMappingThatWouldTakeHoursAndRestoresItsArrays) {
    const OwnedMol whole = molecule(std::vector<At>(20, {6})),
                   torn = molecule(std::vector<At>(20, {6}));
    for (int b = 1; b < 20; ++b) // all bonded with each other, but for one bond
        for (int a = 0; a < b; ++a)
            for (const OwnedMol *mol : {&whole, &torn})
                if (mol == &whole || b > 1) addBond(mol->get(), a, b, 1);
    Ints map(20, MAP_OPTIONAL), inverse(20, MAP_REQUIRED);
    int solution[20], *solutions = solution, score = 0, count = 99, left = 3;
    setInterrupt(isSpent, &left);
    EXPECT_EQ(mapSub(whole.get(), torn.get(), map.data(), &solutions, &score, &count, 1,
                     inverse.data(), 0, 0),
              -10);
    EXPECT_EQ(left, 0) << "asked again";
    setInterrupt(nullptr, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(map, Ints(20, MAP_OPTIONAL));
    EXPECT_EQ(inverse, Ints(20, MAP_REQUIRED));
}

TEST(Interrupting, ASearchThatIsGivenUpChoosesNothing) {
    for (const auto &names : {std::vector<std::string>{"super", "super 2.5"}, {"none", "exact"}}) {
        const Stored file(names);
        int left = 2;
        const OwnedMol mol = asked();
        setInterrupt(isSpent, &left);
        EXPECT_EQ(search(file.path(), *mol).result, 0);
        setInterrupt(nullptr, nullptr);
        EXPECT_EQ(mol->name, nullptr);
    }
}

} // namespace
