// Bonds from coordinates and R/S codes: the search for pairs, and the commands as processes.
#include "saddlefit/bonding.h"

#include "host/structures/host_molecule.hpp"
#include "host/structures/perception.hpp"
#include "host/structures/reader.hpp"
#include "host/system/error.hpp"
#include "tests/command_line.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <numbers>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace saddlefit::host;
using namespace saddlefit::test;
using nlohmann::json;

using Atoms = std::vector<StructureAtom>;
using Triples = std::vector<std::vector<int>>;

int markOf(Molecule *mol, int a, int b) {
    Bond pair{};
    pair.atom1 = a;
    pair.atom2 = b;
    return bondTypeGuess(mol, &pair, 2);
}

Triples triplesOf(const std::vector<StructureBond> &bonds) {
    Triples triples;
    for (const auto &bond : bonds)
        triples.push_back({bond.atom1, bond.atom2, bond.type});
    return triples;
}

Triples allMarkedPairs(const Atoms &atoms) {
    const auto mol = hostMolecule(atoms);
    Triples triples;
    for (int a = 0; a < mol->atomCount; ++a) {
        for (int b = a + 1; b < mol->atomCount; ++b) {
            if (const int mark = markOf(mol.get(), a, b); mark != 0)
                triples.push_back({a, b, mark});
        }
    }
    return triples;
}

// ---- the search for pairs -------------------------------------------------------------------

TEST(CandidateBonds, AreThoseOfAllPairs) {
    struct Row {
        const char *label;
        std::vector<int> elements;
        double side; // of the box, around the origin
    };
    std::vector<int> everything(118);
    std::iota(everything.begin(), everything.end(), 1);
    std::mt19937 generator(3);
    for (const auto &[label, elements, side] :
         {Row{"water", {1, 1, 8}, 15.0}, Row{"helium", {2}, 8.0}, Row{"hydrogen", {1}, 6.0},
          Row{"organic", {1, 6, 7, 8, 16, 17}, 15.0}, Row{"caesium iodide", {55, 53}, 40.0},
          Row{"every element", everything, 30.0}, Row{"thin", {6, 26}, 4000.0}}) {
        SCOPED_TRACE(label);
        std::uniform_real_distribution<double> place(-side / 2, side / 2);
        Atoms atoms;
        for (std::size_t i = 0; i < 600; ++i) {
            const Position at{place(generator), place(generator), place(generator)};
            atoms.push_back({elements[i % elements.size()], 0, at});
        }
        EXPECT_EQ(triplesOf(candidateBonds(atoms)), allMarkedPairs(atoms));
    }
}

// The farthest distance with a mark is found by looking inwards from where none can be.
TEST(CandidateBonds, ReachAsFarAsThereIsAMarkForEachPairOfElements) {
    std::mt19937 generator(5);
    std::uniform_real_distribution<double> place(-50.0, 50.0);
    int found = 0;
    for (int first = 1; first <= 112; ++first) {
        for (int second = first; second <= 112; ++second) {
            SCOPED_TRACE(testing::Message() << first << " with " << second);
            const Position at{place(generator), place(generator), place(generator)};
            const auto mol = hostMolecule({{first, 0, at}, {second, 0, at}});
            double distance = 8.0;
            do {
                distance -= 0.01;
                mol->atoms[1].z = at.z + distance;
            } while (distance > 0.1 && markOf(mol.get(), 0, 1) == 0);
            if (distance <= 0.1) continue;
            const Atoms atoms{{first, 0, at}, {second, 0, {at.x, at.y, at.z + distance}}};
            ASSERT_EQ(candidateBonds(atoms).size(), 1U) << distance;
            ++found;
        }
    }
    EXPECT_GT(found, 103 * 104 / 2 - 10);
}

// A search through all pairs would run into the tests' time limit.
TEST(CandidateBonds, GrowWithTheNumberOfAtoms) {
    Atoms atoms;
    for (int i = 0; i < 60 * 60 * 80; ++i)
        atoms.push_back({6, 0, {1.5 * (i % 60), 1.5 * (i / 60 % 60), 1.5 * (i / 3600)}});
    EXPECT_EQ(candidateBonds(atoms).size(), 2U * 59 * 60 * 80 + 60 * 60 * 79);
}

TEST(CandidateBonds, AtomsBeyondEveryGridAreNoTrouble) {
    const Atoms atoms{{6, 0, {1e300, 0, 0}}, {6, 0, {-1e300, 0, 0}}, {6, 0, {0, 0, 0}}};
    EXPECT_TRUE(candidateBonds(atoms).empty());
    EXPECT_THROW(candidateBonds(Atoms(3000, {6, 0, {}})), Error);
}

// ---- the program ------------------------------------------------------------------------------

class Perception : public CommandLineTest {
protected:
    // An SD file of the example data as XYZ.
    void writeAsXyz(const std::string &name, const std::string &source) const {
        std::istringstream file(contentsOf(SADDLEFIT_DATA "/" + source));
        std::string text, title, line;
        while (std::getline(file, title)) {
            for (int skipped = 0; skipped < 3; ++skipped)
                std::getline(file, line);
            const int atoms = std::stoi(line.substr(0, 3));
            text += std::to_string(atoms) + "\n" + title + "\n";
            for (int i = 0; i < atoms && std::getline(file, line); ++i)
                text += line.substr(31, 3) + line.substr(0, 30) + "\n";
            while (line != "$$$$" && std::getline(file, line)) {
            }
        }
        write(name, text);
    }
};

std::string xyz(const std::string &title, const std::vector<std::string> &lines) {
    std::string text = std::to_string(lines.size()) + "\n" + title + "\n";
    for (const auto &line : lines)
        text += line + "\n";
    return text;
}

std::string atomLine(const std::string &element, double x, double y, double z) {
    std::ostringstream line;
    line << element << ' ' << x << ' ' << y << ' ' << z;
    return line.str();
}

// C-C 1.397, C-H 1.084 angstrom.
std::vector<std::string> benzene() {
    std::vector<std::string> lines;
    for (int i = 0; i < 12; ++i) {
        const double angle = i % 6 * std::numbers::pi / 3, radius = i < 6 ? 1.397 : 2.481;
        const auto *element = i < 6 ? "C" : "H";
        lines.push_back(atomLine(element, radius * std::cos(angle), radius * std::sin(angle), 0));
    }
    return lines;
}

std::vector<std::string> hexaaqua(const std::string &metal, double distance) {
    std::vector<std::string> lines{metal + " 0 0 0"};
    for (int i = 0; i < 6; ++i) {
        const double sign = i % 2 == 0 ? 1.0 : -1.0;
        const auto turned = [&](const std::string &element, double along, double aside) {
            double at[3] = {0, 0, 0};
            at[i / 2] = sign * along;
            at[(i / 2 + 1) % 3] = aside;
            lines.push_back(atomLine(element, at[0], at[1], at[2]));
        };
        turned("O", distance, 0);
        turned("H", distance + 0.586, 0.757);
        turned("H", distance + 0.586, -0.757);
    }
    return lines;
}

const std::vector<std::string> waterDimer{"O -1.551 -0.115 0",     "H -1.934 0.763 0",
                                          "H -0.600 0.041 0",      "O 1.351 0.111 0",
                                          "H 1.680 -0.374 -0.759", "H 1.680 -0.374 0.759"};

TEST_F(Perception, KnownMoleculesGetTheirBonds) {
    struct Row {
        std::string title;
        std::vector<std::string> lines;
        std::string counts;
    };
    const std::string none = "\t0 triple\t0 aromatic\t0 contacts\n";
    const std::vector<Row> rows{
        {"benzene", benzene(), "12 atoms\t6 single\t0 double\t0 triple\t6 aromatic\t0 contacts\n"},
        {"water dimer", waterDimer,
         "6 atoms\t4 single\t0 double\t0 triple\t0 aromatic\t1 contacts\n"},
        {"hexaaquairon", hexaaqua("Fe", 2.1), "19 atoms\t18 single\t0 double" + none},
        {"hexaaquamagnesium", hexaaqua("Mg", 2.07),
         "19 atoms\t12 single\t0 double\t0 triple\t0 aromatic\t6 contacts\n"},
        {"formate",
         {"C 0 0.31 0", "H 0 1.44 0", "O 1.12 -0.23 0", "O -1.12 -0.23 0"},
         "4 atoms\t2 single\t1 double" + none},
        {"acetonitrile", // the nitrile gets the most that the rules give C-N
         {"C 0 0 -1.18", "C 0 0 0.28", "N 0 0 1.437", "H 1.02 0 -1.55", "H -.51 .88 -1.55",
          "H -.51 -.88 -1.55"},
         "6 atoms\t4 single\t1 double" + none},
        {"dinitrogen",
         {"N 0 0 0", "N 0 0 1.098"},
         "2 atoms\t0 single\t0 double\t1 triple\t0 aromatic\t0 contacts\n"}};
    std::string text, expected;
    for (const auto &[title, lines, counts] : rows) {
        text += xyz(title, lines) + "\n"; // a blank line between records is no record
        expected += title + "\t" + counts;
    }
    text += "  2 \r\nnumbers, tabs, columns\r\n\t6\t0 0 0 0.31 extra\r\n h +1.1 0 -0\r\n\r\n";
    expected += "numbers, tabs, columns\t2 atoms\t1 single\t0 double" + none;
    write("known.xyz", text);
    const auto answer = run("perceive known.xyz");
    EXPECT_EQ(answer.status, 0) << answer.err;
    EXPECT_EQ(answer.out, expected);
}

TEST_F(Perception, EverythingStandsInJsonAndInTheStructureFile) {
    write("dimer.xyz", xyz("", waterDimer));
    const auto answer = run("perceive dimer.xyz -o out.sdf --json");
    EXPECT_EQ(answer.status, 0) << answer.err;
    const auto object = json::parse(answer.out);
    EXPECT_EQ(object.at("title"), "record 1");
    EXPECT_EQ(object.at("atoms"), 6);
    EXPECT_EQ(object.at("contacts"), 1);
    EXPECT_EQ(object.at("elements"), json({"O", "H", "H", "O", "H", "H"}));
    EXPECT_EQ(object.at("bonds"), json({{1, 2, 1}, {1, 3, 1}, {3, 4, 0}, {4, 5, 1}, {4, 6, 1}}));
    const auto sdf = contents("out.sdf");
    EXPECT_TRUE(contains(sdf, "\n  6  4  0")) << sdf;
    EXPECT_TRUE(sdf.ends_with("M  END\n> <CONTACTS>\n3 4\n\n$$$$\n")) << sdf;
    EXPECT_EQ(run("perceive out.sdf --json").out, answer.out);
}

TEST_F(Perception, BeyondNineHundredAtomsTheStructureIsWrittenAndReadAsV3000) {
    std::vector<std::string> lines;
    for (int i = 0; i < 200; ++i) {
        for (const auto &[element, x, y, z] : {std::tuple{"C", 0., 0., 0.},
                                               {"F", .77, .77, .77},
                                               {"Cl", 1., -1., -1.},
                                               {"Br", -1.1, 1.1, -1.1},
                                               {"H", -.63, -.63, .63}})
            lines.push_back(atomLine(element, x + 8 * (i % 10), y + 8 * (i / 10), z));
    }
    write("many.xyz", xyz("many", lines));
    const auto fromXyz = run("perceive many.xyz -o many.sdf");
    EXPECT_EQ(fromXyz.out,
              "many\t1000 atoms\t800 single\t0 double\t0 triple\t0 aromatic\t0 contacts\n");
    EXPECT_TRUE(contains(contents("many.sdf"), "M  V30 COUNTS 1000 800 0 0 0\n"));
    EXPECT_EQ(run("perceive many.sdf").out, fromXyz.out);
    const auto codes = run("stereo many.sdf --centres");
    EXPECT_EQ(codes.out, run("stereo many.xyz --centres").out);
    EXPECT_TRUE(codes.out.starts_with("many\t1000 atoms\t200 R\t0 S\n")) << codes.out.substr(0, 60);
}

TEST_F(Perception, RecordsAreReadWhereTheyStandInFilesOfMegabytes) {
    constexpr std::size_t count = 30000; // the file is read in pieces of a megabyte
    std::string xyz, sdf;
    for (std::size_t i = 1; i <= count; ++i) {
        const auto title = std::to_string(i * i); // records of several lengths
        xyz +=
            "1\n" + title + "\nHe 0 0 0 " + std::string(i % 61, ' ') + "\n" + (i % 7 ? "" : "\n");
        sdf += title + "\n\n\n  1  0  0  0  0  0  0  0  0  0999 V2000\n" +
               "    0.0000    0.0000    0.0000 He  0  0\nM  END\n$$$$" + (i % 7 ? "\n" : "\r\n");
    }
    write("many.xyz", xyz);
    write("many.sdf", sdf);
    for (const auto *name : {"many.xyz", "many.sdf"}) {
        const RecordFile records(file(name), BondSource::coordinates);
        ASSERT_EQ(records.count(), count) << name;
        for (std::size_t i = count; i > 0; --i)
            ASSERT_EQ(structureOf(records.read(i - 1)).title, std::to_string(i * i)) << name;
    }
}

TEST_F(Perception, ErrorsNameFileRecordLineAndRemedy) {
    struct Row {
        const char *text;
        std::vector<std::string> parts;
    };
    const std::string good = xyz("good", {"He 0 0 0"});
    for (const auto &[text, parts] :
         {Row{"two\nx\nC 0 0 0\n", {"record 2: line 4: a count of atoms"}},
          Row{"3\nx\nC 0 0 0\n", {"record 2 (x): the record is broken", "after 1", "cut off"}},
          Row{"1\nx\nC1 0 0 0\n", {"record 2 (x): line 6: \"C1\"", "symbol", "correct"}},
          Row{"1\nx\n119 0 0 0\n", {"line 6: \"119\""}},
          Row{"1\nx\nC 0 1.2D0 0\n", {"line 6: \"1.2D0\"", "coordinate"}},
          Row{"1\nx\nC 0 0 nan\n", {"line 6: \"nan\""}}, Row{"1\nx\nC 0 0\n", {"line 6: nothing"}},
          Row{"0\nx\n", {"record 2 (x): the record holds no atoms"}},
          Row{"2\nx\nC 1 1 1\nC 1 1 1\n", {"record 2 (x): the record has neither bonds nor"}}}) {
        SCOPED_TRACE(text);
        write("bad.xyz", good + text);
        for (const std::string command : {"perceive", "stereo"}) {
            const auto answer =
                run(command + " bad.xyz -" + (command[0] == 'p' ? "o o.sdf" : "-centres"));
            EXPECT_EQ(answer.status, 1);
            EXPECT_TRUE(answer.err.starts_with("saddlefit: bad.xyz, record 2")) << answer.err;
            for (const auto &part : parts)
                EXPECT_TRUE(contains(answer.err, part)) << answer.err;
        }
    }
    EXPECT_EQ(run("perceive").status, 2);
    EXPECT_EQ(run("stereo missing.xyz").status, 1);
}

// ---- codes and reactions ------------------------------------------------------------------------

TEST_F(Perception, MirrorImagesHaveOppositeCodes) {
    const std::string file = SADDLEFIT_DATA "/queries_reactants.sdf";
    writeAsXyz("queries.xyz", "queries_reactants.sdf");
    const auto answer = run("stereo " + file + " --centres");
    EXPECT_TRUE(contains(answer.out, "q-sn2-cl-chfclch3-r\t9 atoms\t1 R\t0 S\nC2\tC\tR\n"));
    EXPECT_TRUE(contains(answer.out, "q-sn2-cl-chfclch3-s\t9 atoms\t0 R\t1 S\nC2\tC\tS\n"));
    EXPECT_EQ(run("stereo queries.xyz --centres").out, answer.out);
    std::istringstream lines(run("stereo " + file + " --json").out);
    std::string line;
    while (std::getline(lines, line) && !contains(line, "q-sn2-cl-chfclch3-s")) {
    }
    const auto object = json::parse(line);
    EXPECT_EQ(object.at("S"), 1);
    EXPECT_EQ(object.at("atoms").size(), 9U);
    EXPECT_EQ(object.at("atoms").at(0).at("code"), "-");
    EXPECT_EQ(object.at("atoms").at(1), json({{"label", "C2"}, {"element", "C"}, {"code", "S"}}));
}

} // namespace
