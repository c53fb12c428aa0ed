#include "saddlefit/matching.h"

#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <numeric>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

using Point = std::array<double, 3>;

int sizeOf(const Ints &list) {
    return static_cast<int>(list.size());
}

Ints ints(const std::string &text) {
    std::istringstream in(text);
    return {std::istream_iterator<int>(in), {}};
}

/// Elements, then bonds: "6 8 8 | 0-1 0=2". Marks: - = single, double; : aromatic; . type 0;
/// * type 9; ! an absurd type.
struct Sketch {
    Ints elements;
    std::vector<std::array<int, 3>> bonds = {};
    std::vector<Point> places = {}; // at the origin where there is none

    Sketch() = default;
    Sketch(const char *text) {
        const std::string all = text, marks = ".-=  :   *!";
        const auto bar = std::min(all.find('|'), all.size());
        elements = ints(all.substr(0, bar));
        std::istringstream in(all.substr(std::min(bar + 1, all.size())));
        int a = 0, b = 0;
        for (char mark = 0; in >> a >> mark >> b;)
            bonds.push_back({a, b, mark == '!' ? 2000000000 : static_cast<int>(marks.find(mark))});
    }
};

OwnedMol build(const Sketch &sketch) {
    OwnedMol mol(createMol());
    for (std::size_t i = 0; i < sketch.elements.size(); ++i) {
        const Point place = i < sketch.places.size() ? sketch.places[i] : Point{};
        addAtom(mol.get(), place[0], place[1], place[2], sketch.elements[i]);
    }
    for (const auto &[a, b, type] : sketch.bonds)
        addBond(mol.get(), a, b, type);
    return mol;
}

/// A carbon (atom 0) with four neighbours on the given corners of a tetrahedron.
Sketch tetrahedral(const Ints &around, const Ints &cornerOf = {0, 1, 2, 3}) {
    const std::vector<Point> corners = {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
    Sketch sketch("6 0 0 0 0 | 0-1 0-2 0-3 0-4");
    std::copy(around.begin(), around.end(), sketch.elements.begin() + 1);
    sketch.places = {{}};
    for (const int corner : cornerOf)
        sketch.places.push_back(at(corners, corner));
    return sketch;
}

// ---- ranking

TEST(Ranking, OrdersBranchesByTheirSpheres) {
    const char *amines = "6 7 7 17 | 0=1 0-2 2-3"; // an imine and a chloramine
    const char *methyls = "6 1 6 6 8 1 1 1 1 1 1 1 | 0-1 0-2 0-3 0-4 2-5 2-6 2-7 3-8 3-9 3-10 4-11";
    // Alike but for the fluorine: on the oxygen of the first, on the nitrogen of the second.
    const char *parents = "6 6 6 6 8 9 7 1 9 6 6 6 6 8 1 7 9 9 | 0-1 0-2 0-3 1-4 4-5 2-6 6-7 3-8 "
                          "9-10 9-11 9-12 10-13 13-14 11-15 15-16 12-17";
    const struct {
        const char *label, *sketch, *atoms, *excluded;
        int root;
        const char *ranked;
        int ranks;
    } rows[] = {
        {"elements", "6 1 6 7 8 | 0-1 0-2 0-3 0-4", "1 2 3 4", "", 0, "4 3 2 1", 4},
        {"methyl groups count once", methyls, "1 2 3 4", "", 0, "4 3 2 1", 3},
        {"double, aromatic, single", "6 8 8 8 | 0-1 0:2 0=3", "1 2 3", "", 0, "3 2 1", 3},
        {"bond to the root decides", amines, "2 1", "", 0, "1 2", 2},
        {"no bonds count without a root", amines, "1 2", "", -1, "2 1", 2},
        {"a root that does not exist is none", amines, "1 2", "", 4, "2 1", 2},
        {"exhausted over growing", "1 6 1 6 | 0-1 2-3", "2 0", "1 -1 4", -1, "0 2", 2},

        {"lower-ranked parents first", parents, "0 9", "5 7 14 16", -1, "9 0", 2},
        {"0 ends no key", "6 0 6 8 6 0 6 9 | 0-1 0-2 2-3 4-5 4-6 6-7", "0 4", "", -1, "4 0", 2},
        {"nothing beyond a dummy", "0 9 0 8 | 0-1 2-3", "2 0", "", -1, "2 0", 1},
        {"type 0 lists nothing", "6 1 35 | 0-1 0.2", "2 1", "", 0, "1 2", 2},
        {"types above 9 weigh alike", "6 1 1 | 0*1 0!2", "1 2", "", 0, "1 2", 1},
        {"missing atoms are dummies", "6 1 | 0-1", "-3 2000000000 1", "", 0, "1 2000000000 -3", 2},
        {"a single atom is left alone", "6", "7", "", -1, "7", 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const OwnedMol mol = build(row.sketch);
        Ints atoms = ints(row.atoms);
        const Ints excluded = ints(row.excluded);
        EXPECT_EQ(cmpAtoms(mol.get(), atoms.data(), sizeOf(atoms), excluded.data(),
                           sizeOf(excluded), row.root, nullptr),
                  row.ranks);
        EXPECT_EQ(atoms, ints(row.ranked));
    }
}

TEST(Ranking, GoesOnToTheEndWhenVisitedSetsAreWanted) {
    const OwnedMol mol = build("1 6 1 6 1 | 0-1 2-3 3-4");
    const int excluded = 1;
    using Bytes = std::vector<unsigned char>;
    for (const auto &[root, reached] :
         {std::pair(-1, Bytes{0, 1, 1, 1, 1}), {3, {0, 1, 1, 1, 0}}}) {
        SCOPED_TRACE(root);
        Ints atoms = {0, 2};
        Bytes first(5, 7), second(5, 7);
        unsigned char *sets[] = {first.data(), second.data()};
        EXPECT_EQ(cmpAtoms(mol.get(), atoms.data(), 2, &excluded, 1, root, sets), 2);
        EXPECT_EQ(atoms, (Ints{2, 0})); // without a root, the other way round than without sets
        EXPECT_EQ(first, (Bytes{1, 1, 0, root == 3, 0}));
        EXPECT_EQ(second, reached);
    }
}

// ---- handedness

TEST(StereoCode, FollowsTheArrangementOfTheNeighbours) {
    const Point up = {0, 0, 1}, aside = {-1, 0, 0};
    const struct {
        const char *label, *sketch;
        Point third;
        int code;
    } rows[] = {
        {"F, Cl, Br, H", "6 9 17 35 1 | 0-1 0-2 0-3 0-4", up, 1},
        {"F and Cl swapped", "6 17 9 35 1 | 0-1 0-2 0-3 0-4", up, 2},
        {"in a plane", "6 9 17 35 1 | 0-1 0-2 0-3 0-4", aside, 0},
        {"methane", "6 1 1 1 1 | 0-1 0-2 0-3 0-4", up, 0},
        {"three bonds", "6 9 17 35 1 | 0-1 0-2 0-3", up, 0},
        {"five bonds", "6 9 17 35 1 53 | 0-1 0-2 0-3 0-4 0-5", up, 0},
        {"bonded twice", "6 9 17 35 | 0-1 0-2 0-3 0-3", up, 0},
    };
    for (const auto &[label, text, third, code] : rows) {
        SCOPED_TRACE(label);
        Sketch sketch = text;
        sketch.places = {{}, {1, 0, 0}, {0, 1, 0}, third, {-1, -1, third == up ? -1.0 : 0}};
        EXPECT_EQ(getRS(build(sketch).get(), 0), code);
        EXPECT_EQ(getRS(build(sketch).get(), -1) + getRS(build(sketch).get(), 6), 0);
    }
}

TEST(StereoCode, SurvivesRenumberingAndSwapsInTheMirror) {
    const char *skeleton =
        "6 6 6 6 8 6 7 6 0 0 0 0 0 0 0 0 | 0-1 1-2 2-3 3-0 2=4 1-5 5-6 3:7 0-8 0-9 "
        "1-10 3-11 5-12 5-13 2-14 7-15 14-7";
    constexpr int n = 16;
    Dice dice(41);
    int centres = 0;
    for (int trial = 0; trial < 80; ++trial) {
        SCOPED_TRACE(trial);
        Ints newOf(n);
        std::iota(newOf.begin(), newOf.end(), 0);
        std::shuffle(newOf.begin(), newOf.end(), dice.engine);
        Sketch sketch = skeleton, renumbered = sketch;
        renumbered.places.resize(n);
        for (int i = 0; i < n; ++i) {
            if (i > 7) at(sketch.elements, i) = dice.oneOf({0, 1, 6, 6, 7, 8});
            sketch.places.push_back(
                {dice.below(400) / 100. - 2, dice.below(400) / 100. - 2, dice.below(400) / 100.});
            at(renumbered.elements, at(newOf, i)) = at(sketch.elements, i);
            at(renumbered.places, at(newOf, i)) = sketch.places.back();
        }
        for (auto &[a, b, type] : renumbered.bonds)
            a = at(newOf, std::exchange(b, at(newOf, a)));
        std::shuffle(renumbered.bonds.begin(), renumbered.bonds.end(), dice.engine);

        const OwnedMol mol = build(sketch), other = build(renumbered);
        EXPECT_EQ(createRS(mol.get()), 1);
        EXPECT_EQ(mol->flags & MOL_RS_VALID, MOL_RS_VALID);
        mirrorRS(mol.get());
        for (int i = 0; i < n; ++i) {
            const int code = getRS(other.get(), at(newOf, i));
            EXPECT_EQ(mol->atoms[i].rs, code ? 3 - code : 0);
            EXPECT_EQ(getRS(mol.get(), i), mol->atoms[i].rs);
            centres += code ? 1 : 0;
        }
    }
    EXPECT_GT(centres, 80);
}

TEST(Isomerism, IsTheSideOfTheEndsAcrossADoubleBond) {
    const OwnedMol mol = molecule({{9, -1, 1}, {6}, {6, 1}, {9, 2, 2}, {9, 2, -2}, {9, 1, 0, 1}});
    const Atom *atoms = mol->atoms;
    for (const auto &[end, side] : {std::pair(3, 1), {4, -1}, {5, -1}})
        EXPECT_EQ(calcIsomerism(atoms, atoms + 1, atoms + 2, atoms + end), side) << end;
}

// ---- mapping

struct Outcome {
    int depth = 0;
    std::vector<Ints> solutions = {};
    Ints scores = {};
};

/// Runs mapSub() and checks that it gave back its working storage and kept within the store.
Outcome mapAll(const Sketch &pattern, const Sketch &target, const Ints &codes, int capacity,
               const Ints &inverse = {}, bool chirality = false, bool mirror = false) {
    const OwnedMol A = build(pattern), B = build(target);
    for (int i = 0; i < B->atomCount; ++i)
        B->atoms[i].rs = i % 3;
    Ints map = codes, inverseMap = inverse;
    std::vector<Ints> store(static_cast<std::size_t>(capacity) + 1, Ints(codes.size(), 77));
    std::vector<int *> rows;
    for (Ints &row : store)
        rows.push_back(row.data());
    Ints scores(store.size(), 77);
    const std::vector<Atom> before(B->atoms, B->atoms + B->atomCount);

    int count = -1;
    Outcome outcome;
    outcome.depth =
        mapSub(A.get(), B.get(), map.data(), rows.data(), scores.data(), &count, capacity,
               inverse.empty() ? nullptr : inverseMap.data(), chirality, mirror);
    EXPECT_EQ(map, codes);
    EXPECT_EQ(inverseMap, inverse);
    EXPECT_TRUE(before.empty() ||
                std::memcmp(before.data(), B->atoms, before.size() * sizeof(Atom)) == 0);
    EXPECT_EQ(store.back(), Ints(codes.size(), 77));
    EXPECT_EQ(scores.back(), 77);
    outcome.solutions.assign(store.begin(), store.begin() + count);
    outcome.scores.assign(scores.begin(), scores.begin() + count);
    return outcome;
}

TEST(Mapping, ObeysCodesAndRecordsInOrder) {
    const char *ether = "8 6 6 | 0-1 0-2", *parts = "6 6 8 | 0-1";
    const char *twins = "6 8 6 | 0-1 1-2";
    const struct {
        const char *label, *pattern, *target, *codes, *inverse;
        int depth;
        std::vector<const char *> solutions;
    } rows[] = {
        {"nothing to map", twins, "6", "-1 -1 -1", "", 0, {"-1 -1 -1"}},
        {"twin", twins, "6 8 5 | 0-1", "-4 -4 -4", "", 2, {"0 1 -4", "-1 1 0"}},
        {"site 0 twice, no code being left", twins, "6 8 | 0-1", "-4 -4 -4", "", 3, {"0 1 0"}},
        {"site 0 for the last",
         "6 6 6 6 6 | 0-1 1-2 2-3 1-4",
         "6 6 6 6 | 0-1 1-2 2-3",
         "-6 -6 -6 -6 -6",
         "",
         5,
         {"0 1 2 3 0", "3 2 1 0 3"}},
        {"left out, no candidate", ether, "8 6 | 0-1", "-7 -4 -4", "", 2, {"0 1 -4", "0 -1 1"}},
        {"lowest target code first", "8 6 | 0-1", ether, "-7 -7", "-7 -4 -7", 2, {"0 2"}},

        {"bonded -4 before -3", "6 7 8 | 0-1 0-2", "6 8 | 0-1", "-7 -4 -3", "", 1, {"0 -4 -3"}},
        {"no bonded -4: on to -3", "6 7 8 | 0-2", "6 8 | 0-1", "-7 -4 -3", "", 2, {"0 -4 1"}},
        {"two parts, fewest candidates first", parts, parts, "-7 -7 -7", "", 3, {"0 1 2", "1 0 2"}},

        {"deeper replaces", "6 7 | 0-1", "6 7 6 7 | 2-3", "-4 -4", "", 2, {"2 3"}},
        {"partner out of range", "6 8 | 0-1", "6 8 | 0-1", "99 -7", "-4 -4", 0, {}},
        {"inverse out of range", "6 8 | 0-1", "6 8 | 0-1", "-7 -4", "-4 99", 1, {"0 -4"}},
        {"element beyond the tally", "300", "300", "-7", "", 0, {}},
        {"negative element", "-5", "-5", "-7", "", 0, {}},
        {"empty pattern", "", "6", "", "", 0, {""}},
        {"empty target", "6", "", "-4", "", 0, {"-4"}},
    };
    for (const auto &row : rows) {
        for (const int capacity : {12, 1}) {
            SCOPED_TRACE(std::string(row.label) + ", room for " + std::to_string(capacity));
            const Outcome found =
                mapAll(row.pattern, row.target, ints(row.codes), capacity, ints(row.inverse));
            std::vector<Ints> expected;
            for (const char *solution : row.solutions)
                expected.push_back(ints(solution));
            expected.resize(std::min(expected.size(), static_cast<std::size_t>(capacity)));
            EXPECT_EQ(found.depth, row.depth);
            EXPECT_EQ(found.solutions, expected);
            EXPECT_EQ(found.scores, Ints(expected.size(), row.depth));
        }
    }
    EXPECT_TRUE(mapAll("6", "6", {-7}, 0).solutions.empty());
}

const Sketch right = tetrahedral({9, 17, 35, 1}), left = tetrahedral({9, 17, 35, 1}, {1, 0, 2, 3});

TEST(Mapping, LetsUndecidedCentresPass) {
    Sketch left5 = left;
    left5.elements.push_back(53);
    left5.bonds.push_back({0, 5, 1});
    left5.places.push_back({-2, 0, 0});
    const struct {
        const char *label;
        Sketch pattern, target;
        const char *codes, *inverse;
        int depth;
    } rows[] = {
        {"decided", right, left, "-7 -7 -7 -7 -1", "", 0},

        {"two places left for the fourth", right, left5, "-7 -7 -7 -7 -1", "", 4},

        {"flat", "6 9 17 35 1 | 0-1 0-2 0-3 0-4", left, "-7 -7 -7 -7 -7", "", 5},
        {"missing partner", right, left, "0 99 -7 -7 -7", "0 -7 -7 -7 -7", 5},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(
            mapAll(row.pattern, row.target, ints(row.codes), 12, ints(row.inverse), true).depth,
            row.depth);
    }
}

TEST(Mapping, ReplacesSmallerMappingsByThoseOfTheMirrorImage) {
    const Outcome mirrored = mapAll(right, left, {-7, -4, -4, -4, -4}, 12, {}, true, true);
    EXPECT_EQ(mirrored.scores, Ints{-5});
    EXPECT_EQ(mirrored.solutions, (std::vector<Ints>{{0, 1, 2, 3, 4}}));
}

TEST(SingleMapping, OverwritesTheMapOnlyWithWhatItFound) {
    const struct {
        const char *label;
        Sketch target;
        int chirality, mirror, score;
    } rows[] = {
        {"same hand", right, 1, 1, 5},
        {"other hand", left, 1, 1, -5},
        {"other hand, mirror not tried", left, 1, 0, 0},
        {"hands not looked at", left, 0, 1, 5},
        {"element missing", tetrahedral({9, 9, 9, 1}), 0, 0, 0},
    };
    for (const auto &[label, target, chirality, mirror, score] : rows) {
        SCOPED_TRACE(label);
        staticFree(); // no search may lean on the scratch of the one before
        const OwnedMol A = build(right), B = build(target);
        Ints map(5, -7);
        EXPECT_EQ(mapSingleSub(A.get(), B.get(), map.data(), nullptr, chirality, mirror), score);
        EXPECT_EQ(map, score ? (Ints{0, 1, 2, 3, 4}) : Ints(5, -7));
    }
    staticFree();
}

TEST(Mapping, DoesWithoutScoresAndSearchesNothingThatTheElementsForbid) {
    const OwnedMol A = build("6 6 | 0-1"), B = build("6 8 | 0-1");
    Ints map = {-7, -7}, solution = {77, 77};
    int *rows[] = {solution.data()};
    int count = 5;
    EXPECT_EQ(mapSub(A.get(), B.get(), map.data(), rows, nullptr, &count, 1, nullptr, 1, 1), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(A->bondlink, nullptr);
    map = {-7, -4};
    EXPECT_EQ(mapSub(A.get(), B.get(), map.data(), rows, nullptr, &count, 1, nullptr, 0, 0), 1);
    EXPECT_EQ(solution, (Ints{0, -4}));
}

} // namespace
