// Reactions without geometries, and molecules that have to be set face to face.
#include "saddlefit/host.h"

#include "host/reactions/approach.hpp"
#include "host/reactions/arrangement.hpp"
#include "host/reactions/contacts.hpp"
#include "host/reactions/distance_bounds.hpp"
#include "host/reactions/reaction_files.hpp"
#include "host/structures/host_molecule.hpp"
#include "host/structures/smiles.hpp"
#include "host/structures/xyz.hpp"
#include "tests/command_line.hpp"

#include <gtest/gtest.h>

namespace saddlefit::host {
namespace {

using test::contains;

const std::string data = SADDLEFIT_DATA "/";

ReactionReader readerOf(const std::string &smiles) {
    ReactionFiles files;
    files.reactants = smiles;
    return {files, Start::mean, Orders::harmonised, {}};
}

double distanceIn(const Structure &side, const AtomPair &pair) {
    return distanceBetween(side.atoms[static_cast<std::size_t>(pair.first)].position,
                           side.atoms[static_cast<std::size_t>(pair.second)].position);
}

/// 1 for R, 2 for S.
int codeIn(const Structure &side, std::size_t atom) {
    std::vector<int> codes(side.atoms.size());
    C_getRS(hostMolecule(side.atoms, side.bonds).get(), codes.data());
    return codes[atom];
}

void expectSound(const Structure &side, const Structure &otherSide) {
    for (const auto &[a, b, type] : side.bonds) {
        const double usual = bondLengthOf(side.atoms[static_cast<std::size_t>(a)].element,
                                          side.atoms[static_cast<std::size_t>(b)].element, type);
        EXPECT_NEAR(distanceIn(side, {a, b}) / usual, 1.0, 0.15) << a << "-" << b;
    }
    const auto fragments = fragmentsOf(side);
    EXPECT_FALSE(fragmentsClash(side, fragments));
    const auto fragment = fragmentNumbers(fragments, side.atoms.size());
    for (const auto &pair : bondedInOne(otherSide, side)) {
        const bool apart = fragment[static_cast<std::size_t>(pair.first)] !=
                           fragment[static_cast<std::size_t>(pair.second)];
        if (apart) {
            EXPECT_NEAR(distanceIn(side, pair), 3.1, 0.8);
        }
    }
}

TEST(ReactionSmiles, BecomeSoundGeometriesOnBothSides) {
    const auto reader = readerOf(data + "queries.rsmi");
    ASSERT_EQ(reader.count(), 11U);
    for (std::size_t i = 0; i < reader.count(); ++i) {
        SCOPED_TRACE(reader.title(i));
        for (const auto &reaction : reader.read(i)) {
            expectSound(reaction.reactant, reaction.product);
            expectSound(reaction.product, reaction.reactant);
        }
    }
}

TEST(ReactionSmiles, KeepTheHandednessThatIsWritten) {
    struct Row {
        const char *smiles;
        std::size_t atom;
        int before, after;
    };
    // An inverted centre, a spectator, and two centres that a syn addition makes.
    for (const auto &[smiles, atom, before, after] :
         {Row{"[Cl-:1].[C@H:2]([F:3])([CH3:4])[Cl:5]>>[Cl:1][C@H:2]([F:3])[CH3:4].[Cl-:5]", 1, 1,
              2},
          Row{"[Cl-:1].[C@@H:2]([F:3])([CH3:4])[Cl:5]>>[Cl:1][C@@H:2]([F:3])[CH3:4].[Cl-:5]", 1, 2,
              1},
          Row{"C=CC=C.C=C[C@H](F)Cl>>C1CC=CC[C@@H]1[C@H](F)Cl", 6, 1, 1},
          Row{"C=CC=C.C=C[C@@H](F)Cl>>C1CC=CC[C@@H]1[C@@H](F)Cl", 6, 2, 2}}) {
        SCOPED_TRACE(smiles);
        const auto reactions = readerOf(smiles).read(0);
        EXPECT_EQ(codeIn(reactions.front().reactant, atom), before);
        EXPECT_EQ(codeIn(reactions.front().product, atom), after);
    }
}

TEST(DistanceGeometry, GivesBondLengthsAndTheMarkedConfiguration) {
    for (const char *smiles :
         {"C/C=C\\C", "C/C=C/C", "c1ccccc1O", "C1CC1C#N", "N[C@@H](C)C(=O)O", "C1=CC2CCC1C2"}) {
        SCOPED_TRACE(smiles);
        const auto molecule = moleculesInSmiles(smiles, {"x"});
        const auto bounds = distanceBounds(molecule.structure, molecule.marks);
        bool found = false;
        for (unsigned seed = 0; seed < 20 && !found; ++seed) {
            const auto positions = embeddedWithin(bounds, seed);
            if (unkeptMarks(molecule.marks, positions) > 0) continue;
            auto placed = molecule.structure;
            for (std::size_t i = 0; i < positions.size(); ++i)
                placed.atoms[i].position = positions[i];
            found = true;
            for (const auto &[a, b, type] : placed.bonds)
                found =
                    found && distanceIn(placed, {a, b}) > 0.85 && distanceIn(placed, {a, b}) < 1.75;
        }
        EXPECT_TRUE(found);
    }
}

using Smiles = test::CommandLineTest;

TEST_F(Smiles, AreAnsweredOrRefusedWithTheRemedy) {
    ASSERT_EQ(run("db add --force a.db " + data + "parents_reactants.sdf " + data +
                  "parents_products.sdf " + data + "parents_ts.sdf")
                  .status,
              0);
    struct Row {
        const char *smiles;
        int status;
        const char *out, *err;
    };
    const std::vector<Row> rows{
        {"C=CC=C.C=C>>C1CCC=CC1", 0, "exact da-butadiene-ethene", ""},
        {"C=CC=C.C=CC=O>>O=CC1CC=CCC1", 0, "partial da-butadiene-ethene", "the handedness of C"},
        {"C=CC=C.C=C>O>C1CCC=CC1", 0, "exact da-butadiene-ethene", "between the arrows"},
        {"[Cl-:1].C[CH2:2][Cl:3]>>[Cl:1][CH2:2]C.[Cl-:3]", 0, "partial sn2-cl-ch3cl", ""},
        {"[Cl-].CCl>>ClC.[Cl-]", 1, "", "both sides are the same molecules"},
        {"C=C>>C=C.O", 1, "", "balance: the reactants lack H2O"},
        {"CBr>>CO", 1, "", "balance: the products lack Br, the reactants lack HO;"},
        {"C=C>>", 1, "", "one side of the reaction SMILES is empty"},
        {"C=C>>C=Q", 1, "", "cannot read the SMILES C=Q"},
    };
    for (const auto &[smiles, status, out, err] : rows) {
        SCOPED_TRACE(smiles);
        const auto answer = run("react '" + std::string(smiles) + "' --db a.db");
        EXPECT_EQ(answer.status, status) << answer.err;
        EXPECT_TRUE(contains(answer.out, out)) << answer.out;
        EXPECT_TRUE(contains(answer.err, err)) << answer.err;
    }
    EXPECT_EQ(run("react a.sdf --db a.db").status, 2);
}

TEST_F(Smiles, AndMoleculesOfTheirOwnFilesKeepTheirShapes) {
    // The molecules of a Diels-Alder reaction, all about the origin.
    const auto record = [](const char *name) {
        for (const auto &one : readRecords(data + name))
            if (structureOf(one).title == "da-butadiene-ethene") return structureOf(one);
        throw Error(std::string(name) + " lacks the reaction");
    };
    const auto reactant = record("parents_reactants.sdf"), product = record("parents_products.sdf");
    ReactionFiles files;
    const auto add = [&](std::vector<std::string> &list, const std::string &name,
                         Structure molecule) {
        const auto origin = molecule.atoms.front().position;
        for (auto &[element, charge, at] : molecule.atoms)
            at = {at.x - origin.x, at.y - origin.y, at.z - origin.z};
        write(name, xyzRecord(name, molecule.atoms));
        list.push_back(file(name));
    };
    const auto fragments = fragmentsOf(reactant);
    add(files.reactantMolecules, "diene.xyz", fragmentIn(reactant, fragments[0]));
    add(files.reactantMolecules, "ene.xyz", fragmentIn(reactant, fragments[1]));
    add(files.productMolecules, "ring.xyz", product);
    const ReactionReader reader(files, Start::mean, Orders::harmonised, {});
    EXPECT_EQ(reader.title(0), "diene.xyz + ene.xyz");
    const auto reaction = reader.read(0).front();
    expectSound(reaction.reactant, reaction.product);
    const auto placed = fragmentsOf(reaction.reactant);
    ASSERT_EQ(placed.size(), 2U);
    for (std::size_t f = 0; f < 2; ++f) {
        const auto before = fragmentIn(reactant, fragments[f]);
        const auto after = fragmentIn(reaction.reactant, placed[f]);
        for (int a = 1; a < static_cast<int>(before.atoms.size()); ++a)
            EXPECT_NEAR(distanceIn(after, {0, a}), distanceIn(before, {0, a}), 1e-3);
    }
}

} // namespace
} // namespace saddlefit::host
