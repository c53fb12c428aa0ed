#include "saddlefit/matching.h"

#include "tests/molecules.hpp"
#include "tests/plain_mapping.hpp"

#include <gtest/gtest.h>

#include <array>
#include <numeric>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

/// A random tree with some rings, some loose parts, and neighbours on all sides in space.
OwnedMol randomMolecule(Dice &dice, int atoms, const Ints &elements, const Ints &types) {
    std::vector<At> placed(static_cast<std::size_t>(atoms));
    for (At &atom : placed)
        atom = {dice.oneOf(elements), dice.below(5) - 2.0, dice.below(5) - 2.0,
                dice.below(5) - 2.0};
    OwnedMol mol = molecule(placed);
    const bool rings = dice.oneIn(2), hub = dice.oneIn(3);
    for (int i = 1; i < atoms; ++i)
        for (int bonds = dice.oneIn(8) ? 0 : rings && dice.oneIn(2) ? 2 : 1; bonds > 0; --bonds) {
            const int other = hub ? dice.below(std::min(i, 2)) : dice.below(i);
            if (getBondNumber(mol.get(), i, other) < 0)
                addBond(mol.get(), i, other, dice.oneOf(types));
        }
    createBondlink(mol.get());
    return mol;
}

/// The codes of a map: one or a mixture, mostly with a few atoms that have to be mapped.
Ints randomCodes(Dice &dice, int atoms) {
    const int core = -7 + dice.below(3) * dice.below(2), rest = dice.oneOf({-7, -4, -4, -3, -2});
    const int kind = dice.below(4);
    Ints codes(static_cast<std::size_t>(atoms), rest);
    for (int &code : codes)
        if (kind == 0 || dice.oneIn(8)) code = kind < 2 ? -1 - dice.below(7) : core;
    return codes;
}

Case randomCase(Dice &dice) {
    const Ints elements = dice.oneOf({0, 1}) ? Ints{6} : Ints{6, 6, 8, 1, 0};
    const Ints types = dice.oneIn(2) ? Ints{1} : Ints{1, 1, 2, 5};
    Case drawn;
    drawn.A = randomMolecule(dice, dice.below(8), elements, types);
    drawn.B = randomMolecule(dice, dice.below(9), elements, types);
    drawn.map = randomCodes(dice, drawn.A->atomCount);
    drawn.inverse = randomCodes(dice, drawn.B->atomCount);
    if (dice.oneIn(3) && std::min(drawn.A->atomCount, drawn.B->atomCount) > 0) {
        const int own = dice.below(drawn.A->atomCount), far = dice.below(drawn.B->atomCount);
        at(drawn.map, own) = far;
        if (!dice.oneIn(3)) at(drawn.inverse, far) = own; // a caller may leave it on offer
    }
    drawn.capacity = dice.oneOf({1, 1, 2, 3, 12, 60});
    drawn.chirality = dice.oneIn(2);
    drawn.mirror = dice.oneIn(2);
    return drawn;
}

TEST(Pruning, LeavesEverythingThatASearchWithoutItWrites) {
    Dice dice(11);
    int several = 0, mirrored = 0, nothing = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        SCOPED_TRACE(trial);
        Case given = randomCase(dice);
        Store expected = given.emptyStore();
        PlainSearch(given, expected).run();
        const Store found = mapped(given);
        ASSERT_EQ(found.solutions, expected.solutions); // those behind `count` too
        ASSERT_EQ(found, expected);
        several += found.count > 1 && found.depth > 2;
        mirrored += found.count > 0 && found.scores[static_cast<std::size_t>(found.count) - 1] < 0;
        nothing += found.count == 0;
    }
    EXPECT_GT(std::min({several, mirrored, nothing}), 500);
}

/// Six-rings fused in a row, numbered at random. Long searches, in which walks are counted.
OwnedMol fusedRings(Dice &dice, int atoms, const Ints &elements) {
    Ints place(static_cast<std::size_t>(atoms));
    std::iota(place.begin(), place.end(), 0);
    for (int i = atoms - 1; i > 0; --i)
        std::swap(at(place, i), at(place, dice.below(i + 1)));
    OwnedMol mol = molecule(std::vector<At>(place.size(), {6}));
    for (int i = 0; i < atoms; ++i) {
        mol->atoms[i].element = dice.oneOf(elements);
        if (i > 1) addBond(mol.get(), at(place, i), at(place, i - 2), 1);
        if (i % 4 == 1) addBond(mol.get(), at(place, i), at(place, i - 1), 1);
    }
    createBondlink(mol.get());
    return mol;
}

TEST(Pruning, KeepsAllMappingsOfFusedRings) {
    Dice dice(11);
    const Ints mostlyCarbon{6, 6, 6, 6, 6, 6, 6, 6, 6, 7};
    int found = 0, nothing = 0;
    for (int trial = 0; trial < 600; ++trial) {
        SCOPED_TRACE(trial);
        const int atoms = 8 + dice.below(9), fewer = dice.oneOf({0, 0, 0, 1, 4});
        Case given{fusedRings(dice, atoms - fewer, dice.oneOf({0, 1}) ? Ints{6} : mostlyCarbon),
                   fusedRings(dice, atoms, dice.oneOf({0, 1}) ? Ints{6} : mostlyCarbon),
                   Ints(static_cast<std::size_t>(atoms - fewer), -7),
                   Ints(static_cast<std::size_t>(atoms), -7),
                   dice.oneOf({1, 12, 60}),
                   dice.oneIn(4),
                   true};
        if (dice.oneIn(3)) given.map[0] = -4;
        Store expected = given.emptyStore();
        PlainSearch(given, expected).run();
        ASSERT_EQ(mapped(given), expected);
        found += expected.count > 1;
        nothing += expected.count == 0;
    }
    EXPECT_GT(std::min(found, nothing), 50) << found << " " << nothing;
}

/// Two chains of fused four-membered rings, all atoms alike, of which nothing has to be mapped:
/// without pruning, 24 atoms take ten seconds and each two more three times as long.
TEST(Pruning, MapsALadderOntoItselfAtOnce) {
    constexpr int atoms = 60;
    const std::vector<At> carbons(atoms, {6});
    const Ints codes(atoms, -4);
    Case given{molecule(carbons), molecule(carbons), codes, codes, 12, false, false};
    for (Molecule *mol : {given.A.get(), given.B.get()})
        for (int i = 1; i < atoms; ++i) {
            if (i % 2) addBond(mol, i - 1, i, 1);
            if (i > 1) addBond(mol, i - 2, i, 1);
        }
    const Store found = mapped(given);
    EXPECT_EQ(found.depth, atoms);
    EXPECT_EQ(found.count, 4); // as many as a ladder has symmetries
}

} // namespace
