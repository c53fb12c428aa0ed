/// Reactions and their answers, part by part: drawings, transitions, usual lengths, geometries.
#include "saddlefit/reaction.h"

#include "host/answers/sdf.hpp"
#include "host/reactions/distance_fit.hpp"
#include "host/reactions/drawing.hpp"
#include "host/reactions/relaxation.hpp"
#include "host/reactions/start_geometry.hpp"
#include "host/search/direction.hpp"
#include "host/search/length_estimate.hpp"
#include "host/search/search.hpp"
#include "host/upkeep/stored_question.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {
namespace {

constexpr int H = 1, B = 5, C = 6, N = 7, O = 8;

// ---- drawings -----------------------------------------------------------------------------------

std::vector<int> typesOf(const std::vector<StructureBond> &bonds) {
    std::vector<int> types;
    for (const auto &bond : bonds)
        types.push_back(bond.type);
    return types;
}

Structure drawing(const std::vector<StructureAtom> &atoms,
                  const std::vector<StructureBond> &bonds) {
    Structure structure;
    structure.origin = {"x.sdf", 1, "x"};
    structure.atoms = atoms;
    structure.bonds = bonds;
    return structure;
}

TEST(JoinSeparatedElectrons, BringsDrawingsOfOneStructureToTheSameOrders) {
    struct Row {
        const char *name;
        std::vector<StructureAtom> atoms; // element, charge
        std::vector<StructureBond> bonds;
        std::vector<int> types;
    };
    const std::vector<Row> rows{
        {"nitro, charged",
         {{C, 0, {}}, {N, 1, {}}, {O, 0, {}}, {O, -1, {}}},
         {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}},
         {1, 2, 2}},
        {"nitro, uncharged",
         {{C, 0, {}}, {N, 0, {}}, {O, 0, {}}, {O, 0, {}}},
         {{0, 1, 1}, {1, 2, 2}, {1, 3, 2}},
         {1, 2, 2}},
        {"diazomethane, charges on the nitrogens",
         {{C, 0, {}}, {N, 1, {}}, {N, -1, {}}, {H, 0, {}}, {H, 0, {}}},
         {{0, 1, 2}, {1, 2, 2}, {0, 3, 1}, {0, 4, 1}},
         {2, 3, 1, 1}},
        {"diazomethane, charge on the carbon",
         {{C, -1, {}}, {N, 1, {}}, {N, 0, {}}, {H, 0, {}}, {H, 0, {}}},
         {{1, 0, 1}, {2, 1, 3}, {0, 3, 1}, {0, 4, 1}},
         {2, 3, 1, 1}},
        {"ethene as neighbouring radicals",
         {{C, 0, {}}, {C, 0, {}}, {H, 0, {}}, {H, 0, {}}, {H, 0, {}}, {H, 0, {}}},
         {{0, 1, 1}, {0, 2, 1}, {0, 3, 1}, {1, 4, 1}, {1, 5, 1}},
         {2, 1, 1, 1, 1}},
        {"a carbonyl ylide between radicals: its oxygen has no valence left",
         {{C, 0, {}}, {O, 0, {}}, {C, 0, {}}, {H, 0, {}}, {H, 0, {}}, {H, 0, {}}, {H, 0, {}}},
         {{0, 1, 1}, {1, 2, 1}, {0, 3, 1}, {0, 4, 1}, {2, 5, 1}, {2, 6, 1}},
         {1, 1, 1, 1, 1, 1}},
        {"an isocyanide: no bond beyond a triple one",
         {{C, -1, {}}, {N, 1, {}}, {H, 0, {}}},
         {{0, 1, 3}, {1, 2, 1}},
         {3, 1}},
        {"of two radicals beside each other the lower numbers join",
         {{C, 0, {}},
          {C, 0, {}},
          {C, 0, {}},
          {H, 0, {}},
          {H, 0, {}},
          {H, 0, {}},
          {H, 0, {}},
          {H, 0, {}}},
         {{1, 2, 1}, {0, 1, 1}, {0, 3, 1}, {0, 4, 1}, {1, 5, 1}, {2, 6, 1}, {2, 7, 1}},
         {1, 2, 1, 1, 1, 1, 1}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        auto side = drawing(row.atoms, row.bonds);
        joinSeparatedElectrons(side, drawing(row.atoms, row.bonds));
        EXPECT_EQ(typesOf(side.bonds), row.types);
    }
}

TEST(JoinSeparatedElectrons, LeavesBondsAloneThatTheOtherSideHasNot) {
    const std::vector<StructureAtom> atoms{{N, 1, {}}, {B, -1, {}}};
    auto formed = drawing(atoms, {{0, 1, 1}});
    joinSeparatedElectrons(formed, drawing(atoms, {}));
    EXPECT_EQ(typesOf(formed.bonds), std::vector{1});
    EXPECT_EQ(formed.atoms[0].charge, 1);
    joinSeparatedElectrons(formed, drawing(atoms, {{1, 0, 1}}));
    EXPECT_EQ(typesOf(formed.bonds), std::vector{2}) << "lasting, it is another drawing of B=N";
    EXPECT_EQ(formed.atoms[0].charge, 0);
}

std::vector<BondChange> ringOf(int size, int first, int second) {
    std::vector<BondChange> changes;
    for (int i = 0; i < size; ++i) {
        changes.push_back({orderedPair(i, (i + 1) % size), i % 2 == 0 ? first : second,
                           i % 2 == 0 ? second : first});
    }
    return changes;
}

TEST(RedrawnRings, AreLeftOutUnlessTheyAreTheWholeReaction) {
    const BondChange broken{{0, 6}, 1, 0};
    auto kekule = ringOf(6, 1, 2), electrocyclic = ringOf(6, 2, 1), odd = ringOf(5, 1, 2),
         twoSteps = ringOf(4, 1, 3);
    electrocyclic[5] = {{0, 5}, 0, 1};
    struct Row {
        const char *name;
        std::vector<BondChange> changes;
        std::size_t kept;
    };
    for (const auto &[name, changes, kept] :
         {Row{"benzene's two forms", kekule, 0}, Row{"a six-ring that closes", electrocyclic, 6},
          Row{"an odd ring", odd, 5}, Row{"orders that change by two", twoSteps, 4},
          Row{"cyclobutadiene's two forms", ringOf(4, 2, 1), 0}}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(withoutRedrawnRings(changes).size(), changes.size()) << "the whole reaction";
        auto with = changes;
        with.push_back(broken);
        EXPECT_EQ(withoutRedrawnRings(with).size(), kept + 1);
    }
}

TEST(Transitions, AreStepsOfHalfABondEach) {
    struct Row {
        const char *name;
        std::vector<BondChange> changes; // by ascending atoms
        const char *transitions;         // atoms from 1; "0 0" where nothing falls or rises
    };
    for (const auto &[name, changes, transitions] :
         {Row{"a bond moves", {{{0, 1}, 1, 0}, {{0, 2}, 0, 1}}, "1 2 1 3\n"},
          Row{"a double bond breaks", {{{0, 1}, 2, 0}}, "1 2 0 0\n1 2 0 0\n"},
          Row{"a triple bond forms", {{{2, 3}, 0, 3}}, "0 0 3 4\n0 0 3 4\n0 0 3 4\n"},
          Row{"the longer list goes on alone",
              {{{0, 1}, 3, 1}, {{2, 3}, 1, 2}},
              "1 2 3 4\n1 2 0 0\n"},
          Row{"an aromatic bond is one step from single and from double",
              {{{0, 1}, 5, 1}, {{2, 3}, 2, 5}},
              "1 2 0 0\n3 4 0 0\n"},
          Row{"an aromatic bond is two steps from none", {{{0, 1}, 5, 0}}, "1 2 0 0\n1 2 0 0\n"}})
        EXPECT_EQ(transitionLines(deriveTransitions(changes)), transitions) << name;
}

TEST(MappedSmiles, GivesOrdersToTheBondsOfTheRecord) {
    const std::vector<StructureAtom> atoms{{C, 0, {}}, {O, 0, {}}, {H, 0, {}}, {H, 0, {}}};
    const std::vector<StructureBond> bonds{{2, 0, 1}, {0, 3, 1}, {1, 0, 1}};
    auto structure = drawing(atoms, bonds);
    takeSmilesOrders(structure);
    EXPECT_EQ(typesOf(structure.bonds), (std::vector{1, 1, 1})) << "no field, nothing changes";
    structure.fields["MAPPED_SMILES"] = "[O:2]=[C:1]([H:4])[H:3]";
    takeSmilesOrders(structure);
    EXPECT_EQ(typesOf(structure.bonds), (std::vector{1, 1, 2}));
    for (const auto *smiles :
         {"[O:2]([H:3])[C:1][H:4]", "[O:2]=[C:1]([H:4])[H:5]", "[O:2]=[C:1]"}) {
        SCOPED_TRACE(smiles);
        structure.fields["MAPPED_SMILES"] = smiles;
        EXPECT_THROW(takeSmilesOrders(structure), Error);
    }
}

// ---- stages -------------------------------------------------------------------------------------

Reaction reactionOf(const std::vector<StructureBond> &before,
                    const std::vector<StructureBond> &after) {
    Reaction reaction;
    const std::vector<StructureAtom> atoms{
        {C, 0, {0, 0, 0}}, {N, 0, {1.4, 0, 0}}, {O, 0, {0, 1.5, 0}}, {C, 0, {0, 0, 1.6}}};
    reaction.reactant = drawing(atoms, before);
    reaction.product = drawing(atoms, after);
    reaction.changes = changedBonds(reaction.reactant, reaction.product);
    reaction.transitions = deriveTransitions(reaction.changes);
    for (const auto &atom : atoms)
        reaction.coordinates.push_back(atom.position);
    return reaction;
}

std::map<AtomPair, int> typesByAtoms(Molecule &mol) {
    std::map<AtomPair, int> types;
    for (const auto &bond : bondsOf(&mol))
        types[orderedPair(bond.atom1, bond.atom2)] = bond.type;
    return types;
}

// A stored record has lost the orders of the two sides; what the question has must come out of it
// all the same.
TEST(SigmaPicture, OfAStoredRecordIsThatOfItsOwnQuestion) {
    struct Row {
        const char *name;
        std::vector<StructureBond> before, after;
        const char *code;
        std::map<AtomPair, int> types;
    };
    const std::vector<Row> rows{
        {"a bond moves, another one weakens",
         {{0, 1, 1}, {0, 2, 2}, {2, 3, 1}},
         {{0, 3, 1}, {0, 2, 1}, {2, 3, 1}},
         "C-C C-N",
         {{{0, 1}, 0}, {{0, 2}, 1}, {{0, 3}, 0}, {{2, 3}, 1}}},
        {"a double bond breaks at once",
         {{0, 1, 2}, {0, 2, 1}},
         {{0, 2, 1}},
         "C-N",
         {{{0, 1}, 0}, {{0, 2}, 1}}},
        {"a triple bond breaks at once",
         {{0, 1, 3}, {0, 2, 1}},
         {{0, 2, 1}},
         "C-N",
         {{{0, 1}, 0}, {{0, 2}, 1}}},
        {"an aromatic bond breaks at once",
         {{0, 1, 5}, {0, 2, 1}},
         {{0, 2, 1}},
         "C-N",
         {{{0, 1}, 0}, {{0, 2}, 1}}},
        {"a double bond forms at once",
         {{0, 2, 3}},
         {{0, 1, 2}, {0, 2, 3}},
         "C-N",
         {{{0, 1}, 0}, {{0, 2}, 1}}},
        {"a triple bond becomes a single one, which stays",
         {{0, 1, 3}, {0, 2, 1}},
         {{0, 1, 1}},
         "C-O",
         {{{0, 1}, 1}, {{0, 2}, 0}}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const auto reaction = reactionOf(row.before, row.after);
        auto stored = startMolecule(reaction, {reaction.reactant.bonds, reaction.transitions});
        applyTransition(stored.get());
        makeSigmaPicture(*stored);
        EXPECT_EQ(typesByAtoms(*stored), row.types);
        auto asked = startMolecule(reaction, *questionFor(Stage::sigma, reaction));
        EXPECT_EQ(codeInSymbols(codeOf(asked.get()).data()), row.code);
        EXPECT_EQ(codeOf(stored.get()), codeOf(asked.get()));
        applyTransition(asked.get());
        EXPECT_EQ(typesByAtoms(*asked), row.types);
    }
    EXPECT_FALSE(questionFor(Stage::sigma, reactionOf({{0, 1, 1}}, {{0, 1, 2}})))
        << "nothing is made or broken";
}

HostMolecule storedPair(int element1, int element2, double length, int type) {
    const bool lasts = type > 0;
    return hostMolecule({{element1, 0, {}}, {element2, 0, {length, 0, 0}}}, {{0, 1, type}},
                        {lasts ? Transition{-1, -1, 0, 1} : Transition{0, 1, -1, -1}});
}

TEST(LengthEstimate, GivesMediansByElementsAndKind) {
    LengthEstimate estimate;
    const auto lengthOf = [&](int element1, int element2, int type) {
        const auto asked = storedPair(element1, element2, 9, type);
        return estimate.lengthsIn(*asked, 1.0).at({0, 1}).length;
    };
    const double single = singleBondLength(N, O);
    EXPECT_EQ(lengthOf(N, O, 0), single) << "nothing was counted";
    for (const double length : {1.2, 1.6, 1.3, 1.35})
        estimate.count(*storedPair(C, H, length, 0));
    for (const double length : {2.0, 1.0, 1.1})
        estimate.count(*storedPair(H, H, length, 0));
    estimate.count(*storedPair(C, O, 1.25, 2));
    estimate.count(*hostMolecule({{C, 0, {}}, {C, 0, {9, 0, 0}}}, {{0, 1, 1}}));
    estimate.finish();
    EXPECT_DOUBLE_EQ(lengthOf(H, C, 0), (1.3 + 1.35) / 2);
    EXPECT_DOUBLE_EQ(lengthOf(H, H, 0), 1.1);
    EXPECT_DOUBLE_EQ(lengthOf(C, O, 2), 1.25);
    // The middle one of the seven ratios belongs to one of the seven bonds.
    const double ch = singleBondLength(C, H), hh = singleBondLength(H, H);
    std::vector<double> ratios{1.2 / ch, 1.6 / ch, 1.3 / ch, 1.35 / ch,
                               2.0 / hh, 1.0 / hh, 1.1 / hh};
    std::sort(ratios.begin(), ratios.end());
    EXPECT_DOUBLE_EQ(lengthOf(O, N, 0), single * ratios[3]);
    EXPECT_DOUBLE_EQ(lengthOf(C, C, 2), singleBondLength(C, C) * 1.25 / singleBondLength(C, O));
}

// A hydrogen moves from the first atom to the second; `reverse` has the atoms in another order and
// the hydrogen on its way back.
HostMolecule hydrogenMove(int donor, int acceptor, double toDonor, bool reverse = false) {
    const int first = reverse ? 2 : 0, last = reverse ? 0 : 2;
    std::vector<StructureAtom> atoms(3);
    atoms[static_cast<std::size_t>(first)] = {donor, 0, {-toDonor, 0, 0}};
    atoms[1] = {H, 0, {}};
    atoms[static_cast<std::size_t>(last)] = {acceptor, 0, {1.4, 0, 0}};
    const Transition there{first, 1, 1, last}, back{1, last, first, 1};
    return hostMolecule(atoms, {{0, 1, 0}, {1, 2, 0}}, {reverse ? back : there});
}

TEST(LengthEstimate, GoesFromCoarseToFineSurroundings) {
    LengthEstimate estimate;
    estimate.count(*hydrogenMove(C, O, 1.3));
    estimate.count(*hydrogenMove(C, O, 1.5));
    estimate.count(*hydrogenMove(C, N, 1.2));
    estimate.finish();
    // All three have C-H: 1.3. Ends and path, too. Then two move to an oxygen, 1.4 thrice.
    double expected = 1.3;
    expected = (3 * 1.3 + 1.0 * expected) / (3 + 1.0);
    for (int level = 2; level < 5; ++level)
        expected = (2 * 1.4 + 1.0 * expected) / (2 + 1.0);
    for (const bool reverse : {false, true}) {
        const auto asked = hydrogenMove(C, O, 9, reverse);
        const auto found = estimate.lengthsIn(*asked, 1.0).at({reverse ? 1 : 0, reverse ? 2 : 1});
        EXPECT_NEAR(found.length, expected, 1e-12) << "read backwards a reaction is the same";
        EXPECT_EQ(found.shared, 5U);
    }
    const auto other = hostMolecule({{C, 0, {}}, {H, 0, {}}}, {{0, 1, 0}}, {{0, 1, -1, -1}});
    const auto found = estimate.lengthsIn(*other, 1.0).at({0, 1});
    EXPECT_EQ(found.shared, 1U) << "no bond forms";
    EXPECT_DOUBLE_EQ(found.length, 1.3);
}

TEST(MatchDirection, PutsTheFirstOfTheSameDirectionBeforeAMixedOne) {
    const auto reaction = reactionOf({{0, 1, 1}}, {{0, 2, 1}}); // 0-1 breaks, 0-2 forms
    const auto match = [](const char *name, Role one, Role two) {
        Match laid;
        laid.name = name;
        laid.roles = {one, two};
        return laid;
    };
    const auto mixed = match("mixed", Role::breaks, Role::none);
    const auto opposite = match("opposite", Role::forms, Role::breaks);
    const auto same = match("same", Role::breaks, Role::forms);
    EXPECT_EQ(directionOf(reaction, mixed), MatchDirection::mixed);
    EXPECT_EQ(directionOf(reaction, opposite), MatchDirection::opposite);
    EXPECT_EQ(directionOf(reaction, same), MatchDirection::same);
    const struct {
        std::vector<Match> before;
        const char *first;
    } rows[] = {{{mixed, opposite, same}, "same"},
                {{opposite, same}, "opposite"},
                {{mixed, opposite}, "mixed"},
                {{same, mixed}, "same"}};
    for (auto [matches, first] : rows) {
        const auto count = matches.size();
        preferSameDirection(reaction, matches);
        EXPECT_EQ(matches.front().name, first);
        EXPECT_EQ(matches.size(), count);
    }
}

// ---- geometries ---------------------------------------------------------------------------------

// Chloromethyl-like: X, C, and three hydrogens turned by an angle about the axis between them.
std::vector<StructureAtom> methyl(double turn, double axis) {
    std::vector<StructureAtom> atoms{
        {O, 0, {0, 0, -axis}}, {C, 0, {}}, {H, 0, {1, 0, -axis - 0.3}}};
    for (int i = 0; i < 3; ++i) {
        const double angle = turn + i * 2 * std::numbers::pi / 3;
        atoms.push_back({H, 0, {1.03 * std::cos(angle), 1.03 * std::sin(angle), 0.36}});
    }
    return atoms;
}

TEST(MeanGeometry, KeepsAGroupWholeThatHasTurned) {
    Structure reactant, product; // with the same paths: the means of the distances are wanted
    reactant.atoms = methyl(0, 1.4);
    product.atoms = methyl(std::numbers::pi * 0.6, 1.8);
    const auto mean = meanGeometry(reactant, product, std::vector{0, 1});
    const double bond = std::hypot(1.03, 0.36), apart = 1.03 * std::sqrt(3.0);
    for (const std::size_t i : {3U, 4U, 5U}) {
        EXPECT_NEAR(distanceBetween(mean[1], mean[i]), bond, 0.05);
        EXPECT_NEAR(distanceBetween(mean[i], mean[i == 5 ? 3 : i + 1]), apart, 0.1);
    }
    EXPECT_NEAR(distanceBetween(mean[0], mean[1]), 1.6, 0.02) << "half-way in what changes";
}

TEST(MeanGeometry, LiesNearerToTheSideWithTheShorterPath) {
    const auto chain = [](double middle, std::vector<StructureBond> bonds) {
        Structure side;
        side.atoms = {{C, 0, {}}, {C, 0, {1.5, 0, 0}}, {H, 0, {1.5 + middle, 0, 0}}};
        side.bonds = std::move(bonds);
        return side;
    };
    const auto bonded = chain(1.1, {{0, 1, 1}, {1, 2, 1}}), apart = chain(2.1, {{0, 1, 1}});
    for (const auto &[one, other] : {std::pair{bonded, apart}, std::pair{apart, bonded}}) {
        const auto at = meanGeometry(one, other, std::vector{1, 2});
        EXPECT_NEAR(distanceBetween(at[1], at[2]), 1.1 + 0.27 * 1.0, 0.01);
        EXPECT_NEAR(distanceBetween(at[0], at[2]), 2.6 + 0.27 * 1.0, 0.01);
        EXPECT_NEAR(distanceBetween(at[0], at[1]), 1.5, 0.01);
    }
}

TEST(DistanceFit, MeetsWhatCanBeMet) {
    const std::vector<Position> begin{{0, 0, 0}, {1.2, 0, 0}, {0.1, 1.1, 0.2}, {-1, 0.1, 0.9}};
    auto positions = begin;
    const auto unit = [](std::size_t, std::size_t) { return 1.0; };
    fitDistances(positions, unit, {}, {}); // four atoms, all as far from each other: a tetrahedron
    for (std::size_t a = 0; a < 4; ++a) {
        for (std::size_t b = a + 1; b < 4; ++b)
            EXPECT_NEAR(distanceBetween(positions[a], positions[b]), 1.0, 0.002) << a << b;
    }
    positions = begin;
    fitDistances(positions, unit, {{{2, 3}, {1.5}}}, std::vector{0, 1});
    EXPECT_EQ(distanceBetween(positions[0], begin[0]) + distanceBetween(positions[1], begin[1]), 0);
    EXPECT_NEAR(distanceBetween(positions[2], positions[3]), 1.5, 0.02) << "it counts for more";
}

TEST(Strain, IsWhatNeitherSideExplains) {
    const auto pair = [](double length) {
        return std::vector<StructureAtom>{{C, 0, {}}, {N, 0, {length, 0, 0}}};
    };
    struct Row {
        double length;
        int bonds; // of how many sides there is one
        const char *strain;
    };
    for (const auto &[length, bonds, strain] :
         {Row{1.43, 2, ""}, Row{1.45, 2, "the bond C1-N2 is 1.45 angstrom long"}, Row{0.81, 2, ""},
          Row{0.79, 2, "the bond C1-N2 is 0.79 angstrom long"}, Row{1.45, 1, ""}, Row{0.71, 1, ""},
          Row{0.69, 1, "C1-N2 are 0.69 angstrom apart"}}) {
        SCOPED_TRACE(length);
        const auto strains =
            strainIn(pair(length), drawing(pair(1.0), {{0, 1, 1}}),
                     drawing(pair(1.2), bonds == 2 ? std::vector<StructureBond>{{1, 0, 2}}
                                                   : std::vector<StructureBond>{}));
        EXPECT_EQ(strains,
                  *strain == '\0' ? std::vector<std::string>{} : std::vector<std::string>{strain});
    }
}

TEST(StoredQuestion, BondsAreTakenBackStepByStep) {
    struct Row {
        const char *name;
        int falls, rises;
        std::optional<int> stored, before; // type; none: no bond
        int after;                         // the reaction, 0: no bond
    };
    constexpr std::nullopt_t noBond = std::nullopt;
    const std::vector<Row> rows{
        {"single breaks", 1, 0, 0, 1, 0},
        {"double weakens", 1, 0, 5, 2, 1},
        {"triple weakens", 1, 0, 2, 3, 2},
        {"quadruple weakens", 1, 0, 3, 4, 3},
        {"aromatic weakens", 1, 0, 1, 5, 1},
        {"double breaks", 2, 0, 1, 2, 0},
        {"triple to single", 2, 0, 5, 3, 1},
        {"triple breaks", 3, 0, 1, 3, 0},
        {"made", 0, 1, 0, noBond, 1},
        {"made double", 0, 2, 0, noBond, 2},
        {"single strengthens", 0, 1, 5, 1, 2},
        {"double strengthens", 0, 1, 2, 2, 3},
        {"single to triple", 0, 2, 2, 1, 3},
        {"quadruple strengthens", 0, 1, 4, 4, 5},
        {"missing bond falls", 1, 0, noBond, noBond, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        StoredRecord record;
        record.atoms = {{6, 0, {0, 0, 0}}, {8, 0, {1.5, 0, 0}}};
        if (row.stored) record.bonds = {{1, 0, *row.stored}};
        record.transitions.insert(record.transitions.end(), static_cast<std::size_t>(row.falls),
                                  {0, 1, -1, -1});
        record.transitions.insert(record.transitions.end(), static_cast<std::size_t>(row.rises),
                                  {-1, -1, 0, 1});
        const auto reaction = reactionOf(record, "a.db");
        ASSERT_TRUE(reaction.has_value());
        const auto &bonds = reaction->reactant.bonds;
        EXPECT_EQ(bonds.empty() ? noBond : std::optional(bonds.front().type), row.before);
        ASSERT_EQ(reaction->changes.size(), 1U);
        EXPECT_EQ(reaction->changes.front().after, row.after);
    }
}

} // namespace
} // namespace saddlefit::host
