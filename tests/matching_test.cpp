#include "saddlefit/matching.h"

#include "molecule/memory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using saddlefit::OwnedMol;

namespace {

using Ints = std::vector<int>;
using Point = std::array<double, 3>;

template <class List> auto &at(List &list, int i) {
    return list[static_cast<std::size_t>(i)];
}
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

class Dice {
public:
    explicit Dice(unsigned seed) : engine(seed) {}
    int below(int n) { return static_cast<int>(engine() % static_cast<unsigned>(n)); }
    int oneOf(const Ints &values) { return at(values, below(sizeOf(values))); }
    std::mt19937 engine;
};

// ---- ranking

TEST(Ranking, OrdersBranchesByTheirSpheres) {
    const char *amines = "6 7 7 17 | 0=1 0-2 2-3"; // an imine and a chloramine
    const char *methyls = "6 1 6 6 8 1 1 1 1 1 1 1 | 0-1 0-2 0-3 0-4 2-5 2-6 2-7 3-8 3-9 3-10 4-11";
    const char *methane = "6 1 1 1 1 | 0-1 0-2 0-3 0-4";
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
        {"all alike", methane, "1 2 3 4", "", 0, "1 2 3 4", 1},
        {"double, aromatic, single", "6 8 8 8 | 0-1 0:2 0=3", "1 2 3", "", 0, "3 2 1", 3},
        {"bond to the root decides", amines, "2 1", "", 0, "1 2", 2},
        {"no bonds count without a root", amines, "1 2", "", -1, "2 1", 2},
        {"a root that does not exist is none", amines, "1 2", "", 4, "2 1", 2},
        {"exhausted over growing", "1 6 1 6 | 0-1 2-3", "2 0", "1 -1 4", -1, "0 2", 2},
        {"excluded yet listed", "6 9 6 8 | 0-1 2-3", "2 0", "1", -1, "0 2", 2},
        {"lower-ranked parents first", parents, "0 9", "5 7 14 16", -1, "9 0", 2},
        {"0 ends no key", "6 0 6 8 6 0 6 9 | 0-1 0-2 2-3 4-5 4-6 6-7", "0 4", "", -1, "4 0", 2},
        {"nothing beyond a dummy", "0 9 0 8 | 0-1 2-3", "2 0", "", -1, "2 0", 1},
        {"type 0 lists nothing", "6 1 35 | 0-1 0.2", "2 1", "", 0, "1 2", 2},
        {"types above 9 weigh alike", "6 1 1 | 0*1 0!2", "1 2", "", 0, "1 2", 1},
        {"missing atoms are dummies", "6 1 | 0-1", "-3 2000000000 1", "", 0, "1 2000000000 -3", 2},
        {"a single atom is left alone", "6", "7", "", -1, "7", 1},
        {"no atom", "6", "", "", -1, "", 0},
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
    const std::vector<Point> solid = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {-1, -1, -1}};
    const std::vector<Point> flat = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}};
    const struct {
        const char *label, *sketch;
        std::vector<Point> places;
        int atom, code;
    } rows[] = {
        {"F, Cl, Br, H", "6 9 17 35 1 | 0-1 0-2 0-3 0-4", solid, 0, 1},
        {"F and Cl swapped", "6 17 9 35 1 | 0-1 0-2 0-3 0-4", solid, 0, 2},
        {"in a plane", "6 9 17 35 1 | 0-1 0-2 0-3 0-4", flat, 0, 0},
        {"methane", "6 1 1 1 1 | 0-1 0-2 0-3 0-4", solid, 0, 0},
        {"three bonds", "6 9 17 35 1 | 0-1 0-2 0-3", solid, 0, 0},
        {"five bonds", "6 9 17 35 1 53 | 0-1 0-2 0-3 0-4 0-5", solid, 0, 0},
        {"bonded twice", "6 9 17 35 | 0-1 0-2 0-3 0-3", solid, 0, 0},
        {"below the range", "6 9 17 35 1 | 0-1 0-2 0-3 0-4", solid, -1, 0},
        {"above the range", "6 9 17 35 1 | 0-1 0-2 0-3 0-4", solid, 5, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        Sketch sketch = row.sketch;
        sketch.places = row.places;
        EXPECT_EQ(getRS(build(sketch).get(), row.atom), row.code);
    }
}

TEST(StereoCode, SurvivesRenumberingAndSwapsInTheMirror) {
    constexpr int n = 16;
    Dice dice(41);
    std::uniform_real_distribution<double> coordinate(-2, 2);
    int centres = 0;
    for (int trial = 0; trial < 80; ++trial) {
        SCOPED_TRACE(trial);
        Ints newOf(n);
        std::iota(newOf.begin(), newOf.end(), 0);
        std::shuffle(newOf.begin(), newOf.end(), dice.engine);
        Sketch sketch, renumbered;
        renumbered.elements.resize(n);
        renumbered.places.resize(n);
        const auto bond = [&](int a, int b, int type) {
            sketch.bonds.push_back({a, b, type});
            renumbered.bonds.push_back({at(newOf, b), at(newOf, a), type});
        };
        for (int i = 0; i < n; ++i) {
            sketch.elements.push_back(dice.oneOf({0, 1, 6, 6, 6, 7, 8}));
            Point place;
            std::generate(place.begin(), place.end(), [&] { return coordinate(dice.engine); });
            sketch.places.push_back(place);
            at(renumbered.elements, at(newOf, i)) = sketch.elements.back();
            at(renumbered.places, at(newOf, i)) = place;
            if (i > 0) bond(std::max(0, i - 1 - dice.below(6)) / 2, i, dice.oneOf({1, 1, 2, 5}));
        }
        for (int ring = 0; ring < 3; ++ring)
            bond(dice.below(n / 2), n / 2 + dice.below(n / 2), 1);
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
    Sketch sketch = "9 6 6 9 9 9";
    sketch.places = {{-1, 1, 0}, {0, 0, 0}, {1, 0, 0}, {2, 2, 0}, {2, -2, 0}, {1, 0, 1}};
    const OwnedMol mol = build(sketch);
    const Atom *atoms = mol->atoms;
    for (const auto &[end, side] : std::vector<std::array<int, 2>>{{3, 1}, {4, -1}, {5, -1}})
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
    const char *chain = "6 6 6 | 0-1 1-2", *ether = "8 6 6 | 0-1 0-2", *parts = "6 6 8 | 0-1";
    const char *twins = "6 8 6 | 0-1 1-2";
    const struct {
        const char *label, *pattern, *target, *codes, *inverse;
        int depth;
        std::vector<const char *> solutions;
    } rows[] = {
        {"nothing to map", chain, "6", "-1 -1 -1", "", 0, {"-1 -1 -1"}},
        {"one carbon short", "6 6 8 | 0-1 1-2", "6 8 | 0-1", "-7 -7 -7", "", 0, {}},
        {"-7 C on O", "6", "8", "-7", "", 0, {}},
        {"-6 C on O", "6", "8", "-6", "", 1, {"0"}},
        {"-5 O on N", "8", "7", "-5", "", 1, {"0"}},
        {"-5 O on H", "8", "1", "-5", "", 0, {}},
        {"-5 H on O", "1", "8", "-5", "", 1, {"0"}},
        {"-7 bond types differ", "6 6 | 0=1", "6 6 | 0-1", "-7 -7", "", 0, {}},
        {"-6 bond types differ", "6 6 | 0=1", "6 6 | 0-1", "-6 -6", "", 2, {"0 1", "1 0"}},
        {"a bond too many", chain, "6 6 6 | 0-1 1-2 0-2", "-7 -7 -7", "", 0, {}},
        {"a target atom serves once", "6 6", "6", "-6 -6", "", 0, {}},
        {"twin", twins, "6 8 5 | 0-1", "-4 -4 -4", "", 2, {"0 1 -4", "-1 1 0"}},
        {"atom 0's site twice, as no code is left",
         twins,
         "6 8 | 0-1",
         "-4 -4 -4",
         "",
         3,
         {"0 1 0"}},
        {"left out, no candidate", ether, "8 6 | 0-1", "-7 -4 -4", "", 2, {"0 1 -4", "0 -1 1"}},
        {"lowest target code first", "8 6 | 0-1", ether, "-7 -7", "-7 -4 -7", 2, {"0 2"}},
        {"no target codes", "8 6 | 0-1", ether, "-7 -7", "", 2, {"0 1", "0 2"}},
        {"bonded -4 before -3", "6 7 8 | 0-1 0-2", "6 8 | 0-1", "-7 -4 -3", "", 1, {"0 -4 -3"}},
        {"no bonded -4: on to -3", "6 7 8 | 0-2", "6 8 | 0-1", "-7 -4 -3", "", 2, {"0 -4 1"}},
        {"two parts, fewest candidates first", parts, parts, "-7 -7 -7", "", 3, {"0 1 2", "1 0 2"}},
        {"given partner", "6 8 | 0-1", "6 8 8 | 0-1 0-2", "0 -7", "0 -4 -4", 2, {"0 1", "0 2"}},
        {"deeper replaces", "6 7 | 0-1", "6 7 6 7 | 2-3", "-4 -4", "", 2, {"2 3"}},
        {"partner out of range", "6 8 | 0-1", "6 8 | 0-1", "99 -7", "-4 -4", 0, {}},
        {"inverse out of range", "6 8 | 0-1", "6 8 | 0-1", "-7 -4", "-4 99", 1, {"0 -4"}},
        {"element beyond the tally", "300", "300", "-7", "", 0, {}},
        {"negative element", "-5", "-5", "-7", "", 0, {}},
        {"empty pattern", "", "6", "", "", 0, {""}},
        {"empty target", "6", "", "-4", "", 0, {"-4"}},
    };
    for (const auto &row : rows) {
        for (const int capacity : {12, 3, 1}) {
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

/// All one-to-one maps that obey the codes pair by pair and form one connected piece.
class BruteForce {
public:
    BruteForce(const Sketch &A, const Sketch &B, const Ints &codes)
        : A_(A), B_(B), codes_(codes), map_(codes.size(), -1) {
        place(0);
    }
    int best = 0;
    std::set<Ints> largest;

private:
    static int bondType(const Sketch &mol, int a, int b) {
        for (const auto &[p, q, type] : mol.bonds)
            if ((p == a && q == b) || (p == b && q == a)) return type;
        return -1;
    }
    bool fits(int atom, int site) const {
        const int code = at(codes_, atom), own = at(A_.elements, atom), far = at(B_.elements, site);
        if ((code == -7 || code == -4) && own != far) return false;
        if ((code == -5 || code == -2) && own >= 2 && far <= 1) return false;
        for (int other = 0; other < atom; ++other) {
            if (at(map_, other) < 0) continue;
            const int ownType = bondType(A_, atom, other);
            const int farType = bondType(B_, site, at(map_, other));
            const int later = std::max(code, at(codes_, other)); // required atoms come first
            const bool strict = later == -7 || later == -4;
            if (at(map_, other) == site || (ownType < 0) != (farType < 0)) return false;
            if (strict && ownType != farType) return false;
        }
        return true;
    }
    bool connected() const { // labels spread from the lowest mapped atom along bonds
        Ints label = map_;
        const auto seed = std::find_if(label.begin(), label.end(), [](int v) { return v >= 0; });
        if (seed != label.end()) *seed = -2;
        for (std::size_t round = 0; round < label.size(); ++round)
            for (const auto &[a, b, type] : A_.bonds)
                if (std::min(at(label, a), at(label, b)) == -2 && at(map_, a) >= 0 &&
                    at(map_, b) >= 0)
                    at(label, a) = at(label, b) = -2;
        return std::all_of(label.begin(), label.end(), [](int v) { return v < 0; });
    }
    void place(int atom) {
        if (atom == sizeOf(map_)) return finish();
        if (at(codes_, atom) >= -4) place(atom + 1);
        for (int site = 0; at(codes_, atom) < -1 && site < sizeOf(B_.elements); ++site) {
            if (!fits(atom, site)) continue;
            at(map_, atom) = site;
            place(atom + 1);
            at(map_, atom) = -1;
        }
    }
    void finish() {
        const int depth = sizeOf(map_) - static_cast<int>(std::count(map_.begin(), map_.end(), -1));
        if (depth < best || !connected()) return;
        if (depth > best) largest.clear();
        best = depth;
        largest.insert(map_);
    }
    const Sketch &A_, &B_;
    const Ints &codes_;
    Ints map_;
};

TEST(Mapping, FindsTheSameSetAsBruteForce) {
    Dice dice(7);
    const auto randomGraph = [&](int n) {
        Sketch sketch;
        for (int i = 0; i < n; ++i) {
            sketch.elements.push_back(dice.oneOf({6, 6, 8, 1, 0}));
            for (int j = 0; j < i; ++j)
                if (dice.below(2)) sketch.bonds.push_back({j, i, dice.oneOf({1, 1, 1, 2})});
        }
        return sketch;
    };
    int several = 0, deep = 0, none = 0;
    for (int trial = 0; trial < 1200; ++trial) {
        SCOPED_TRACE(trial);
        const Sketch A = randomGraph(2 + dice.below(4));
        Sketch B = randomGraph(2 + dice.below(5));
        B.elements.push_back(99); // stays free, so that every site serves one atom only
        const int core = -7 + dice.below(3), rest = -4 + dice.below(3);
        Ints codes(A.elements.size());
        std::generate(codes.begin(), codes.end(), [&] { return dice.below(6) ? rest : -1; });
        if (dice.below(3)) codes[0] = core; // a connected core: atom 0 and some of its neighbours
        for (const auto &[a, b, type] : A.bonds)
            if (codes[0] == core && a == 0 && dice.below(3) == 0) at(codes, b) = core;

        const BruteForce expected(A, B, codes);
        const Ints inverse = dice.below(2) ? Ints(B.elements.size(), -7) : Ints{};
        const Outcome found = mapAll(A, B, codes, 1500, inverse);
        EXPECT_EQ(found.depth, expected.best);
        std::set<Ints> partners;
        for (Ints solution : found.solutions) {
            for (std::size_t i = 0; i < solution.size(); ++i)
                if (solution[i] == codes[i]) solution[i] = -1;
            partners.insert(solution);
        }
        EXPECT_EQ(partners, expected.largest);
        EXPECT_EQ(found.solutions.size(), expected.largest.size()); // none twice
        several += partners.size() > 3;
        deep += expected.best > 3;
        none += partners.empty();
    }
    EXPECT_GT(std::min({several, deep, none}), 25) << several << " " << deep << " " << none;
}

bool isOdd(const Ints &order) {
    int inversions = 0;
    for (auto i = order.begin(); i != order.end(); ++i)
        inversions +=
            static_cast<int>(std::count_if(i, order.end(), [&](int v) { return v < *i; }));
    return inversions % 2 != 0;
}

TEST(Mapping, TellsRotationsFromReflectionsByTheParityOfTheCorners) {
    Dice dice(3);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        Ints cornersA = {0, 1, 2, 3}, cornersB = cornersA, elements = {1, 1, 9, 17}, far = elements;
        for (Ints *list : {&cornersA, &cornersB, &far})
            std::shuffle(list->begin(), list->end(), dice.engine);
        const bool skipLast = trial % 2; // the place of an unmapped neighbour counts too
        const Ints codes = {-7, -7, -7, -7, skipLast ? -1 : -7};
        std::set<Ints> expected, found; // each solution with its score behind it
        Ints sites = {1, 2, 3, 4};
        do {
            Ints carried, solution = {0};
            bool fits = true;
            for (std::size_t i = 0; i < 4; ++i) {
                const bool skip = codes[i + 1] == -1;
                carried.push_back(at(cornersB, sites[i] - 1));
                fits = fits && (skip || elements[i] == at(far, sites[i] - 1));
                solution.push_back(skip ? -1 : sites[i]);
            }
            const int depth = skipLast ? 4 : 5;
            solution.push_back(isOdd(carried) == isOdd(cornersA) ? depth : -depth);
            if (fits) expected.insert(solution);
        } while (std::next_permutation(sites.begin(), sites.end()));

        const Outcome both = mapAll(tetrahedral(elements, cornersA), tetrahedral(far, cornersB),
                                    codes, 50, {}, true, true);
        for (std::size_t i = 0; i < both.solutions.size(); ++i) {
            Ints solution = both.solutions[i];
            solution.push_back(both.scores[i]);
            found.insert(solution);
        }
        EXPECT_EQ(found, expected);
        EXPECT_EQ(found.size(), both.solutions.size());
    }
}

TEST(Mapping, FindsTheTwelveRotationsAndTwelveReflectionsOfMethane) {
    const Sketch methane = tetrahedral({1, 1, 1, 1});
    for (const int capacity : {1, 3, 12, 20, 50}) {
        SCOPED_TRACE(capacity);
        Ints scores(12, 5);
        scores.resize(24, -5);
        scores.resize(std::min(scores.size(), static_cast<std::size_t>(capacity)));
        EXPECT_EQ(mapAll(methane, methane, Ints(5, -7), capacity, {}, true, true).scores, scores);
    }
}

const Sketch right = tetrahedral({9, 17, 35, 1}), left = tetrahedral({9, 17, 35, 1}, {1, 0, 2, 3});

TEST(Mapping, LetsUndecidedCentresPass) {
    Sketch right5 = right, left5 = left;
    for (Sketch *sketch : {&right5, &left5}) {
        sketch->elements.push_back(53);
        sketch->bonds.push_back({0, 5, 1});
        sketch->places.push_back({-2, 0, 0});
    }
    const struct {
        const char *label;
        Sketch pattern, target;
        const char *codes, *inverse;
        int depth;
    } rows[] = {
        {"decided", right, left, "-7 -7 -7 -7 -1", "", 0},
        {"two neighbours left", right, left, "-7 -7 -7 -1 -1", "", 3},
        {"two places left for the fourth", right, left5, "-7 -7 -7 -7 -1", "", 4},
        {"five neighbours", right5, left5, "-7 -7 -7 -7 -7 -7", "", 6},
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
    const Ints codes = {-7, -4, -4, -4, -4};
    const Outcome sameHand = mapAll(right, left, codes, 12, {}, true, false);
    EXPECT_EQ(sameHand.scores, Ints(6, 3)); // any two of the four neighbours
    const Outcome mirrored = mapAll(right, left, codes, 12, {}, true, true);
    EXPECT_EQ(mirrored.depth, 5);
    EXPECT_EQ(mirrored.scores, Ints{-5});
    EXPECT_EQ(mirrored.solutions, (std::vector<Ints>{{0, 1, 2, 3, 4}}));
}

TEST(SingleMapping, OverwritesTheMapOnlyWithWhatItFound) {
    const struct {
        const char *label;
        Sketch target;
        int code, chirality, mirror, score;
        Ints map;
    } rows[] = {
        {"same hand", right, -7, 1, 1, 5, {0, 1, 2, 3, 4}},
        {"other hand", left, -7, 1, 1, -5, {0, 1, 2, 3, 4}},
        {"other hand, mirror not tried", left, -7, 1, 0, 0, Ints(5, -7)},
        {"hands not looked at", left, -7, 0, 1, 5, {0, 1, 2, 3, 4}},
        {"element missing", tetrahedral({9, 9, 9, 1}), -7, 0, 0, 0, Ints(5, -7)},
        {"nothing asked", right, -1, 0, 0, 0, Ints(5, -1)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        staticFree(); // no search may lean on the scratch of the one before
        const OwnedMol A = build(right), B = build(row.target);
        Ints map(5, row.code);
        EXPECT_EQ(mapSingleSub(A.get(), B.get(), map.data(), nullptr, row.chirality, row.mirror),
                  row.score);
        EXPECT_EQ(map, row.map);
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
