#include "saddlefit/bonding.h"

#include "bonding/elements.hpp"
#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <numbers>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

// ---- tables

/// Weighted sums: a changed, missing or displaced entry shows.
template <std::size_t N, class T> double weighted(const T (&table)[N]) {
    double sum = 0;
    for (std::size_t i = 0; i < N; ++i)
        sum += static_cast<double>(table[i]) * static_cast<double>(i + 1);
    return sum;
}

TEST(ElementTables, HoldTheirEntries) {
    EXPECT_NEAR(weighted(vdwrad), 9734.063, 1e-8);
    EXPECT_NEAR(weighted(covRad), 8779.595, 1e-8);
    EXPECT_NEAR(weighted(eneg), 5885.56, 1e-8);
    EXPECT_EQ(weighted(preferedValency), 19976);
    EXPECT_NEAR(weighted(defaultBondLengths), 2911.35, 1e-8);
    EXPECT_NEAR(weighted(bondLength), 321521.677, 1e-6);
}

TEST(ElementTables, ClassesAndBoundsOfLookUps) {
    for (int row = 0, last = 0; row < 6; ++row) { // periods of 2, 8, 8, 18, 18, 32 elements
        last += 2 * ((row + 3) / 2) * ((row + 3) / 2);
        EXPECT_EQ(getPeriodRow(last), row);
        EXPECT_EQ(getPeriodRow(last + 1), row + 1);
    }
    EXPECT_EQ(getPreferedValency(-1), 0);
    EXPECT_EQ(getPreferedValency(6), 4);
    EXPECT_EQ(getPreferedValency(110), 4);
    const int nonMetals[] = {1,  2,  5,  6,  7,  8,  9,  10, 14, 15, 16,
                             17, 18, 33, 34, 35, 36, 52, 53, 54, 86};
    for (int z = 1; z <= 120; ++z)
        EXPECT_EQ(isMetal(z), std::ranges::find(nonMetals, z) == std::end(nonMetals)) << z;
}

// ---- lengths

TEST(BondLengths, ComeFromPairThenPeriodAndScaleWithOrder) {
    struct Row {
        int z1, z2, type;
        double expected;
    };
    const Row rows[] = {{6, 6, 2, 1.531 * 0.87}, {6, 6, 3, 1.531 * 0.78}, {6, 6, 4, 1.531 * 0.73},
                        {6, 6, 5, 1.531 * 0.93}, {6, 6, -5, 1.531},       {6, 1, 1, 1.096},
                        {1, 6, 1, 1.096},        {1, 2, 1, 0.75},         {12, 6, 2, 1.8 * 0.87},
                        {-7, 6, 1, 1.096},       {103, 103, 1, 2.9},      {104, 6, 1, 2.1}};
    for (const auto &[z1, z2, type, expected] : rows) {
        const OwnedMol mol = molecule({{z1}, {z2}}, "0 1 " + std::to_string(type));
        EXPECT_EQ(bondLengthGuess(mol.get(), mol->bonds[0]), expected) << z1 << '-' << z2;
        EXPECT_EQ(mol->bonds[0]->type, type);
    }
    const OwnedMol mol = molecule({{6}}, "0 5 1, -1 5 1");
    EXPECT_EQ(bondLengthGuess(mol.get(), mol->bonds[0]), 1.096) << "a missing atom is element 0";
    EXPECT_EQ(bondLengthGuess(mol.get(), mol->bonds[1]), 0.742);
}

// ---- orders

int typeAt(int z1, int z2, double distance, int mode) {
    const OwnedMol mol = molecule({{z1, 1, -2, 0.5}, {z2, 1, -2, 0.5 + distance}}, "0 1 9");
    const int type = bondTypeGuess(mol.get(), mol->bonds[0], mode);
    std::swap(mol->bonds[0]->atom1, mol->bonds[0]->atom2);
    EXPECT_EQ(bondTypeGuess(mol.get(), mol->bonds[0], mode), type) << "in the other direction";
    return type;
}

/// A distance at which the type changes, tried a little below and above.
struct Threshold {
    const char *what;
    int z1, z2, mode;
    double distance;
    int below, above;
};

TEST(BondOrders, ChangeAtTheirThresholds) {
    constexpr double near = 2e-4;
    const Threshold rows[] = {
        {"C-C single", 6, 6, 0, 1.432, 2, 1},
        {"C-C reach", 6, 6, 0, 1.9916, 1, 0},
        {"C-C aromatic from", 6, 6, 1, 1.357, 2, -5},
        {"C-C aromatic to", 6, 6, 1, 1.517, -5, 1},
        {"C-C aromatic, mode -1", 6, 6, -1, 1.517, -5, 1},
        {"C-N single", 6, 7, 0, 1.3204, 2, 1},
        {"N-N triple", 7, 7, 1, 1.122, 3, 2},
        {"N-N double", 7, 7, 1, 1.292, 2, 1},
        {"C-O triple", 6, 8, 0, 1.0226, 3, 2},
        {"C-O double", 6, 8, 0, 1.2551, 2, 1},
        {"C-H reach", 6, 1, 0, 1.3444, 1, 0},
        {"S-S is single", 16, 16, 0, 1.85, 1, 1},
        {"C-Cl is single", 6, 17, 0, 1.5, 1, 1},
        {"C-Cl reaches 1.15", 6, 17, 0, 1.15 * 1.7405, 1, 0},
        {"He reaches 0.9", 6, 2, 0, 0.9 * 1.46105, 2, 0},
        {"Fe-Fe reaches 1.1", 26, 26, 2, 1.1 * 2.532, 1, 0},
        {"H bond", 8, 1, 2, 1.0393, 1, -2},
        {"H bond reach", 8, 1, 2, 0.7 * 3.1, -2, 0},
        {"no H bond to C", 6, 1, 2, 1.8, 0, 0},
        {"Fe-O bond and contact", 26, 8, 2, 1.3 * 1.74465, -1, -3},
        {"Fe-O contact reach", 26, 8, 2, 0.9 * 3.206, -3, 0},
        {"Fe-O in mode 1", 26, 8, 1, 1.3 * 1.74465, 1, 0},
        {"Fe-Cl: the monovalent rule comes first", 26, 17, 2, 2.2, 1, 1},
        {"Na-O reaches 0.9 and bears no mark", 11, 8, 2, 0.9 * 1.91840, 2, -3},
    };
    for (const auto &[what, z1, z2, mode, distance, below, above] : rows) {
        SCOPED_TRACE(what);
        EXPECT_EQ(typeAt(z1, z2, distance - near, mode), below);
        EXPECT_EQ(typeAt(z1, z2, distance + near, mode), above);
    }
}

TEST(BondOrders, OddAtomsAndPlaces) {
    for (const int mode : {0, 1, 2}) {
        EXPECT_EQ(typeAt(6, 6, 0.0, mode), 1) << "in one place";
        EXPECT_EQ(typeAt(6, 6, std::numeric_limits<double>::quiet_NaN(), mode), 1);
        EXPECT_EQ(typeAt(6, 6, std::numeric_limits<double>::infinity(), mode), 0);
        for (const int outside : {0, -1, 110, INT_MAX, INT_MIN}) {
            EXPECT_EQ(typeAt(6, outside, 0.0, mode), 0) << outside;
            EXPECT_EQ(typeAt(outside, 8, 1.2, mode), 0) << outside;
        }
    }
    EXPECT_EQ(typeAt(105, 8, 2.0, 2), 0) << "no van der Waals radius, no contact";
    const OwnedMol mol = molecule({{6}}, "0 1 1, -3 0 1");
    for (Bond *bond : bondsOf(*mol))
        EXPECT_EQ(bondTypeGuess(mol.get(), bond, 2), 0);
}

TEST(BondOrders, FollowTablesThatTheHostChanged) {
    preferedValency[6] = 0;
    EXPECT_EQ(typeAt(6, 6, 1.5, 0), 0) << "1.5 is beyond 0.9 times 1.532";
    preferedValency[6] = 4;
    eneg[8] = 2.0;
    EXPECT_EQ(typeAt(6, 8, 1.72, 0), 1) << "without polarity up to 1.3 times 1.396";
    eneg[8] = 3.15;
}

// ---- settling tentative bonds

/// Carbons of a regular ring, side in angstrom, each with its hydrogen in plane.
std::vector<At> ring(int size, double side) {
    const double step = 2 * std::numbers::pi / size;
    const double radius = side / (2 * std::sin(step / 2));
    std::vector<At> atoms;
    for (const auto &[element, r] : {std::pair{6, radius}, {1, radius + 1.09}})
        for (int i = 0; i < size; ++i)
            atoms.push_back({element, r * std::cos(i * step), r * std::sin(i * step), 0});
    return atoms;
}

/// Bonds around a ring of these types, then those to its hydrogens.
std::string ringBonds(const Ints &types) {
    const std::size_t size = types.size();
    std::string bonds;
    for (std::size_t i = 0; i < size; ++i)
        bonds += std::to_string(i) + ' ' + std::to_string((i + 1) % size) + ' ' +
                 std::to_string(types[i]) + ", ";
    for (std::size_t i = 0; i < size; ++i)
        bonds +=
            std::to_string(i) + ' ' + std::to_string(size + i) + (i + 1 < size ? " 1, " : " 1");
    return bonds;
}

struct Settling {
    const char *what;
    std::vector<At> atoms;
    std::string before, after;
};

void expectSettled(const std::vector<Settling> &rows) {
    for (const auto &[what, atoms, before, after] : rows) {
        const OwnedMol mol = molecule(atoms, before);
        recheckBonds(mol.get());
        EXPECT_EQ(writtenBonds(*mol), after) << what;
    }
}

TEST(SettlingBonds, PlanarHexagonsAreAromaticAndOthersAlternate) {
    const std::vector<At> hexagon = ring(6, 1.395);
    const auto with = [&](std::size_t place, At atom) {
        std::vector<At> atoms = hexagon;
        atoms.resize(std::max(place + 1, atoms.size()));
        atoms[place] = atom;
        return atoms;
    };
    const auto above = [&](int element, double z) { return At{element, hexagon[0].x, 0, z}; };
    const At nearlyInPlane{1, hexagon[6].x, 0, 0.5};
    const std::string marked = ringBonds({-5, -5, -5, -5, -5, -5});
    const std::string aromatic = ringBonds({5, 5, 5, 5, 5, 5}),
                      kekule = ringBonds({2, 1, 2, 1, 2, 1});
    std::string exocyclic = marked, quinoid = ringBonds({1, 2, 1, 2, 1, 1});
    exocyclic.replace(exocyclic.find("0 6 1"), 5, "0 6 2");
    quinoid.replace(quinoid.find("0 6 1"), 5, "0 6 2");
    expectSettled({
        {"benzene", hexagon, marked, aromatic},
        {"angles that sum to 353", with(6, nearlyInPlane), marked, aromatic},
        {"angles that sum to 300", with(6, above(1, 1.09)), marked, kekule},
        {"the same, seen late in the first pass", with(9, {1, hexagon[3].x, 0, 1.09}), marked,
         kekule},
        {"angles of 90", ring(4, 1.40), ringBonds({-5, -5, -5, -5}), ringBonds({2, 1, 2, 1})},
        {"single by length", ring(4, 1.46), ringBonds({-5, -5, -5, -5}), ringBonds({1, 1, 1, 1})},
        {"angles of 140", ring(9, 1.44), ringBonds(Ints(9, -5)), ringBonds(Ints(9, 1))},
        {"carbon with four bonds", with(12, above(9, 1.35)), marked + ", 0 12 1",
         ringBonds({1, 1, 2, 1, 2, 1}) + ", 0 12 1"},
        {"next to a double bond", with(6, {6, hexagon[0].x + 1.35, 0, 0}), exocyclic, quinoid},
    });
}

TEST(SettlingBonds, MarksFollowTheirRules) {
    // Two carbons, their hydrogens, another carbon.
    const std::vector<At> cc = {{6}, {6, 1.40}, {1, -0.5, 0.9}, {1, -0.5, -0.9}, {6, 1.9, 1.2}};
    // In plane around a carbon pair: hydrogens on the left, carbons on the right.
    const std::vector<At> flat = {{6},           {6, 1.40},     {1, -0.5, 0.9}, {1, -0.5, -0.9},
                                  {6, 1.9, 1.2}, {6, 1.9, -1.2}};
    // D-H...A on the x axis, and one more atom.
    const std::vector<At> ohn = {{8}, {1, 0.97}, {7, 2.9}, {8, 0.9, 1}};
    const std::vector<At> iron = {{26}, {8, 2.5}, {7, -2}, {1, 3.4}};
    expectSettled({
        {"two hydrogens, double by length", cc, "0 1 -5, 0 2 1, 0 3 1", "0 1 2, 0 2 1, 0 3 1"},
        {"next to a double bond", cc, "0 1 -5, 4 1 2, 0 3 1", "0 1 1, 4 1 2, 0 3 1"},
        {"hydrogens, whatever their bonds", flat, "0 1 -5, 0 2 5, 0 3 5, 1 4 5, 1 5 5",
         "0 1 2, 0 2 5, 0 3 5, 1 4 5, 1 5 5"},
        {"at the second end", flat, "1 0 -5, 0 2 5, 0 3 5, 1 4 5, 1 5 5",
         "1 0 2, 0 2 5, 0 3 5, 1 4 5, 1 5 5"},
        {"support at the first end only", flat, "1 0 -5, 1 4 5, 1 5 5", "1 0 2, 1 4 5, 1 5 5"},
        {"support at the second end only", flat, "0 1 -5, 1 4 5, 1 5 5", "0 1 2, 1 4 5, 1 5 5"},
        {"too long for a bond", {{6}, {6, 3}}, "0 1 -5", "0 1 1"},
        {"no such atom", {{6}}, "0 7 -5, 7 8 -1, 0 0 -5", "0 7 1, 7 8 1, 0 0 1"},
        {"other marks", cc, "0 1 -4, 0 2 -7, 0 3 -10", "0 1 4, 0 2 7, 0 3 10"},
        {"the least mark has no positive value", cc, "0 1 -2147483648", ""},
        {"O-H...N", ohn, "0 1 1, 1 2 -2", "0 1 1, 1 2 0"},
        {"C-H...N", {{6}, {1, 1.09}, {7, 2.9}}, "0 1 1, 1 2 -2", "0 1 1"},
        {"H on its own", ohn, "0 2 1, 1 2 -2", "0 2 1"},
        {"H between two atoms", ohn, "0 1 1, 3 1 1, 1 2 -2", "0 1 1, 3 1 1"},
        {"three-membered ring", ohn, "0 1 1, 0 2 1, 1 2 -2", "0 1 1, 0 2 1"},
        {"ring closed by a contact", ohn, "0 1 1, 0 2 0, 1 2 -2", "0 1 1, 0 2 0, 1 2 0"},
        {"contact of two bonded atoms", iron, "0 1 -3, 0 2 1, 1 3 1", "0 2 1, 1 3 1"},
        {"contact of a bare metal", iron, "0 1 -3, 1 3 1", "0 1 0, 1 3 1"},
        {"contact of a bare ligand", iron, "0 1 -3, 0 2 1", "0 1 0, 0 2 1"},
        {"a metal bond beside it is real", iron, "0 1 -3, 0 2 -1, 1 3 1", "0 2 1, 1 3 1"},
        {"a hydrogen bond is not", iron, "0 1 -3, 2 0 -2, 1 3 1", "0 1 0, 1 3 1"},
    });
}

TEST(SettlingBonds, OxygenPartsItsTwoHeavyNeighbours) {
    const std::string triangle = "0 1 1, 1 2 1, 0 2 1", open = "1 2 1, 0 2 1";
    const auto trio = [](int a, int b, int bridge) {
        return std::vector<At>{{a}, {b, 2}, {bridge, 1, 1}};
    };
    expectSettled({
        {"S-S", trio(16, 16, 8), triangle, open},
        {"one heavy end is enough", trio(6, 16, 8), triangle, open},
        {"neon is not heavy", trio(10, 10, 8), triangle, triangle},
        {"by a contact", trio(16, 16, 8), "0 1 1, 1 2 0, 0 2 1", "1 2 0, 0 2 1"},
        {"settled in the first pass", trio(26, 26, 8), "0 1 -1, 1 2 -1, 0 2 -1", open},
        {"a contact itself", trio(26, 16, 8), "0 1 0, 1 2 1, 0 2 1", open},
    });
}

TEST(SettlingBonds, CarbonAndOxygenLoseExcessDoubleBonds) {
    const std::vector<At> row = {{6, -1.30}, {6}, {6, 1.35}}, even = {{6, -1.30}, {6}, {6, 1.30}};
    const std::vector<At> full = {{6}, {9, 1}, {9, 0, 1}, {7, 0, 0, 1}, {7, -2}, {1, 1, 1, 1}};
    const std::vector<At> bent = {{7}, {8, 1.2}, {7, 2}};
    expectSettled({
        {"longest stays", row, "0 1 2, 1 2 2", "0 1 1, 1 2 2"},
        {"of equals the last", even, "0 1 2, 1 2 2", "0 1 1, 1 2 2"},
        {"of four bonds the first double", full, "0 4 2, 0 1 1, 0 3 2, 0 2 1",
         "0 4 1, 0 1 1, 0 3 2, 0 2 1"},
        {"of five all but the longest", full, "0 4 2, 0 1 1, 0 3 2, 0 2 1, 0 5 1",
         "0 4 2, 0 1 1, 0 3 1, 0 2 1, 0 5 1"},
        {"other orders do not count", full, "0 3 2, 0 1 3, 0 4 5, 0 2 1",
         "0 3 2, 0 1 3, 0 4 5, 0 2 1"},
        {"oxygen with two doubles", bent, "0 1 2, 1 2 2", "0 1 1, 1 2 1"},
        {"nitrogen may keep them", {{8}, {7, 1.2}, {8, 2}}, "0 1 2, 1 2 2", "0 1 2, 1 2 2"},
    });
}

TEST(SettlingBonds, RemovalKeepsAddressesAndTheIndex) {
    const OwnedMol mol =
        molecule({{6}, {1, 1.09}, {7, 2.9}, {1, -1}}, "1 2 -2, 0 1 1, 2 1 -2, 0 3 1");
    const std::vector<Bond *> stay = {mol->bonds[1], mol->bonds[3]};
    recheckBonds(mol.get());
    EXPECT_EQ(std::vector<Bond *>(mol->bonds, mol->bonds + mol->bondCount), stay);
    EXPECT_EQ(listOf(*mol, 1), Ints({0}));
    EXPECT_EQ(listOf(*mol, 2), Ints());
    recheckBonds(OwnedMol(createMol()).get());
}

} // namespace
