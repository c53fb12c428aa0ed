// What reactions are given as: coordinates without bonds, charges in titles, pipes, packed files.
#include "cli/report.hpp"
#include "host/reactions/bare_sides.hpp"
#include "host/reactions/electrons.hpp"
#include "host/reactions/settled_drawing.hpp"
#include "host/structures/reader.hpp"
#include "host/structures/xyz.hpp"
#include "host/system/error.hpp"
#include "tests/command_line.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <vector>
#include <zlib.h>

namespace saddlefit::host {
namespace {

using test::contains;
using test::contentsOf;

constexpr int H = 1, C = 6, N = 7, O = 8, F = 9;

std::string messageOf(const std::function<void()> &call) {
    try {
        call();
    } catch (const Error &error) {
        return error.what();
    }
    return {};
}

// ---- drawings -----------------------------------------------------------------------------------

Structure drawing(const std::vector<StructureAtom> &atoms,
                  const std::vector<StructureBond> &bonds) {
    Structure side;
    side.origin = {"x.xyz", 1};
    side.atoms = atoms;
    side.bonds = bonds;
    side.namesBonds = false;
    return side;
}

std::string textOf(const Structure &side) {
    std::string text;
    for (const auto &bond : side.bonds)
        text += std::to_string(bond.type);
    for (const auto &atom : side.atoms)
        text += atom.charge == 0 ? "" : atom.charge > 0 ? "+" : "-";
    return text;
}

TEST(SettledDrawing, ChangesAsFewOrdersAsItCan) {
    struct Row {
        const char *name;
        Structure reactant, product;
        const char *settled; // orders, then charges, of the product
    };
    const std::vector<StructureAtom> allyl{{C, 0, {}}, {C, 0, {}}, {C, 0, {}}};
    auto anion = allyl;
    anion[2].charge = -1;
    const std::vector<StructureAtom> carboxylate{{C, 0, {}}, {O, 0, {}}, {O, -1, {}}};
    const std::vector<StructureAtom> amide{
        {O, 0, {}}, {C, 0, {}}, {N, 0, {}}, {H, 0, {}}, {H, 0, {}}};
    const std::vector<StructureAtom> six(6, {C, 0, {}});
    const auto ring = [&](int first) {
        std::vector<StructureBond> bonds;
        for (int i = 0; i < 6; ++i)
            bonds.push_back({i, (i + 1) % 6, (i + first) % 2 + 1});
        return drawing(six, bonds);
    };
    const std::vector<Row> rows{
        {"allyl radicals", drawing(allyl, {{0, 1, 1}, {1, 2, 2}}),
         drawing(allyl, {{0, 1, 2}, {1, 2, 1}}), "12"},
        {"allyl anions", drawing(allyl, {{0, 1, 1}, {1, 2, 2}}),
         drawing(anion, {{0, 1, 2}, {1, 2, 1}}), "12-"},
        {"carboxylates", drawing(carboxylate, {{0, 1, 1}, {0, 2, 2}}),
         drawing(carboxylate, {{0, 1, 2}, {0, 2, 1}}), "12-"},
        {"no charges out of nothing", drawing(amide, {{0, 1, 1}, {1, 2, 2}, {2, 3, 1}, {2, 4, 1}}),
         drawing(amide, {{0, 1, 2}, {1, 2, 1}, {2, 3, 1}, {2, 4, 1}}), "2111"},
        {"rings", ring(0), ring(1), "121212"},
    };
    for (auto [name, reactant, product, settled] : rows) {
        SCOPED_TRACE(name);
        reactant.namesBonds = true; // and so keeps its drawing
        const auto drawn = textOf(reactant);
        settleDrawings(reactant, product);
        EXPECT_EQ(textOf(product), settled);
        EXPECT_EQ(textOf(reactant), drawn);
    }
}

TEST(BareSides, GetTheBondsThatTheLibraryMisses) {
    auto fluoride = drawing({{H, 0, {}}, {F, 0, {0.917, 0, 0}}}, {});
    auto monoxide = drawing({{C, 0, {}}, {O, 0, {1.128, 0, 0}}}, {});
    findBonds(fluoride, monoxide, {});
    EXPECT_EQ(textOf(fluoride), "1");
    EXPECT_EQ(textOf(monoxide), "3-+");
    findBonds(fluoride, monoxide, {BondFinder::library, {}});
    EXPECT_EQ(textOf(fluoride), "") << "the library's rule has become another: tell of it";
    auto nowhere = drawing({{C, 0, {}}, {O, 0, {}}}, {});
    EXPECT_TRUE(
        contains(messageOf([&] { findBonds(nowhere, monoxide, {}); }), "x.xyz, record 1: "));
}

// ---- charge and spin ----------------------------------------------------------------------------

TEST(Electrons, AreToldByTitles) {
    struct Row {
        const char *title;
        std::optional<int> charge, unpaired;
    };
    for (const auto &[title, charge, unpaired] :
         std::vector<Row>{{"a supercharge=3 molecule, charged", {}, {}},
                          {"TS of E2 Charge = -1 mult=1", -1, 0},
                          {"charge=\"+2.0\"; uhf=2 mult=3", 2, 2},
                          {"mult=2", {}, 1}}) {
        SCOPED_TRACE(title);
        const auto told = electronsInTitle(title);
        EXPECT_EQ(told.charge, charge);
        EXPECT_EQ(told.unpaired, unpaired);
    }
    for (const char *title : {"charge=one", "charge=", "charge=0.5", "uhf=2 mult=2", "mult=0"})
        EXPECT_NE(messageOf([&] { electronsInTitle(title); }), "") << title;
}

struct ToldSide {
    bool drawn = false;
    std::optional<int> charge, unpaired;
    std::vector<int> radicals{}; // of two oxygens and a hydrogen
};

Structure sideOf(const ToldSide &told) {
    auto side = drawing({{O, 0, {}}, {O, 0, {}}, {H, 0, {}}}, {});
    side.namesBonds = told.drawn;
    side.charge = told.charge;
    side.unpaired = told.unpaired;
    side.radicals = told.radicals;
    return side;
}

TEST(Electrons, ComeFromWhoeverTells) {
    struct Row {
        ToldSide reactant, product;
        GivenElectrons given;
        int charge, unpaired;
        const char *doubt; // "" for none
    };
    const ToldSide drawn{true, {}, {}}, bare, anion{false, -1, {}};
    const std::vector<Row> rows{
        {drawn, drawn, {}, 0, 1, ""},
        {bare, bare, {}, 0, 1, "give --charge"},
        {bare, bare, {{}, 1}, 0, 1, ""},
        {anion, bare, {}, -1, 0, ""},
        {bare, anion, {}, -1, 0, ""},
        {anion, {false, 1, {}}, {}, -1, 0, "a charge of -1 for the reactant and of 1 for"},
        {anion, {false, 1, {}}, {1, {}}, 1, 0, ""},
        {{false, -1, 2}, bare, {}, -1, 2, ""},
        {{false, -1, 2},
         {false, -1, 0},
         {},
         -1,
         0,
         "2 unpaired electrons in the reactant and of 0"},
        {{true, -1, {}, {1, 1, 0}}, {true, -1, {}, {0, 2, 0}}, {}, -1, 2, ""},
        {{true, -1, {}, {1, 1, 0}}, {true, -1, {}}, {}, -1, 0, ""},
        {{true, -1, {}, {1, 0, 0}}, bare, {}, -1, 0, "of which not 1 can be unpaired"},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        const auto &[reactant, product, given, charge, unpaired, doubt] = rows[i];
        const auto electrons = electronsOf(sideOf(reactant), sideOf(product), given);
        EXPECT_EQ(electrons.charge, charge);
        EXPECT_EQ(electrons.unpaired, unpaired);
        ASSERT_EQ(electrons.doubts.size(), *doubt == '\0' ? 0U : 1U);
        for (const auto &warning : electrons.doubts)
            EXPECT_TRUE(contains(cli::messageOf(warning), doubt)) << warning.text;
    }
}

// ---- the program --------------------------------------------------------------------------------

const std::string data = SADDLEFIT_DATA "/";

// SD records without bonds; the title tells the sum of the charges.
std::string asXyz(const std::string &sdf) {
    std::istringstream file(sdf);
    std::string text;
    for (std::string title, line; std::getline(file, title);) {
        for (int skipped = 0; skipped < 3; ++skipped)
            std::getline(file, line);
        const int atoms = std::stoi(line.substr(0, 3));
        std::string rows;
        for (int i = 0; i < atoms && std::getline(file, line); ++i)
            rows += line.substr(31, 3) + line.substr(0, 30) + "\n";
        int charge = 0;
        while (line != "$$$$" && std::getline(file, line)) {
            std::istringstream words(line.starts_with("M  CHG") ? line.substr(9) : "");
            for (int atom = 0, one = 0; words >> atom >> one;)
                charge += one;
        }
        text += std::to_string(atoms) + "\n" + title + " charge=" + std::to_string(charge) + "\n" +
                rows;
    }
    return text;
}

std::vector<std::string> firstColumns(const std::string &lines, std::size_t count) {
    std::vector<std::string> result;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        std::size_t end = 0;
        for (std::size_t i = 0; i < count && end != std::string::npos; ++i)
            end = line.find('\t', end + 1);
        result.push_back(line.substr(0, end));
    }
    return result;
}

class Inputs : public test::CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        write("empty.db", "");
        for (const std::string side : {"reactants", "products"})
            write(side + ".xyz", asXyz(contentsOf(data + "queries_" + side + ".sdf")));
    }

    void pack(const std::string &bytes, const std::string &name) const {
        const auto packed = gzopen(file(name).c_str(), "wb");
        gzwrite(packed, bytes.data(), static_cast<unsigned>(bytes.size()));
        gzclose(packed);
    }

    const std::string quickly = " --db empty.db --stages full --relax none --map order ";
};

TEST_F(Inputs, ReactionsOfPlainCoordinatesAreThoseOfDrawnBonds) {
    for (const std::string set : {"parents", "queries"}) {
        std::string drawn, bare;
        for (const std::string side : {"reactants", "products"}) {
            drawn += data + set + "_" + side + ".sdf ";
            write(side + ".xyz", asXyz(contentsOf(data + set + "_" + side + ".sdf")));
            bare += side + ".xyz ";
        }
        const auto wanted = run("react " + drawn + quickly), got = run("react " + bare + quickly);
        EXPECT_EQ(got.status, 0) << got.err;
        auto lines = firstColumns(got.out, 2);
        for (auto &line : lines)
            line.erase(line.find(" charge="), line.find('\t') - line.find(" charge="));
        EXPECT_EQ(lines, firstColumns(wanted.out, 2));
    }
}

TEST_F(Inputs, AnOddNumberOfElectronsIsNoSecret) {
    const std::string
        atoms =
            "Cl 0 0 3.2\nC 0 0 0\nH 1.03 0 0.3\nH -0.5 0.9 0.3\nH -0.5 -0.9 0.3\nBr 0 0 -1.95\n",
        product =
            "Cl 0 0 1.78\nC 0 0 0\nH 1.03 0 -0.3\nH -0.5 0.9 -0.3\nH -0.5 -0.9 -0.3\nBr 0 0 -3.3\n";
    for (const auto &[title, options, told] :
         {std::tuple{"", "", false}, std::tuple{"charge=-1", "", true},
          std::tuple{"", "--charge -1", true}, std::tuple{"mult=2", "", true}}) {
        SCOPED_TRACE(title + std::string(options));
        write("r.xyz", std::string("6\nx ") + title + "\n" + atoms);
        write("p.xyz", "6\nx\n" + product);
        const auto answer = run("react r.xyz p.xyz -o o.sdf" + quickly + options);
        EXPECT_TRUE(contains(answer.out, "\tC-Cl C-Br\t") || contains(answer.out, "\tC-Br C-Cl\t"))
            << answer.out;
        EXPECT_EQ(contains(answer.err, "give --charge"), !told) << answer.err;
        const bool anion = told && !contains(title, "mult");
        EXPECT_TRUE(contains(contents("o.sdf"), anion ? "> <CHARGE>\n-1\n" : "> <CHARGE>\n0\n"));
        EXPECT_TRUE(contains(contents("o.sdf"), anion ? "> <UNPAIRED>\n0\n" : "> <UNPAIRED>\n1\n"));
    }
}

TEST_F(Inputs, PipesAndPackedFilesAreReadLikeOthers) {
    const std::string products = " " + data + "queries_products.sdf ";
    const auto plain =
        run("react " + data + "queries_reactants.sdf" + products + "-o o.sdf" + quickly);
    const auto structures = contents("o.sdf"),
               reactants = contentsOf(data + "queries_reactants.sdf");
    const auto half = reactants.size() / 2;
    pack(reactants.substr(0, half), "one");
    pack(reactants.substr(half), "two");
    write("r.sdf.gz", contents("one") + contents("two")); // as "cat one.gz two.gz" makes it
    write("r", reactants);
    for (const auto &[name, rest] :
         {std::pair{"r.sdf.gz", ""}, std::pair{"r", ""}, std::pair{"-", "< r"},
          std::pair{"-", "< r.sdf.gz"}, std::pair{"/dev/stdin", "< r"}}) {
        SCOPED_TRACE(name + std::string(rest));
        const auto answer = run("react " + std::string(name) + products +
                                "--input-format sdf -o -" + quickly + rest);
        EXPECT_TRUE(answer.out == structures) << answer.err;
        EXPECT_TRUE(contains(answer.err, plain.out)) << answer.err;
    }
    for (const auto &[input, told] :
         {std::pair{"-", "standard input: its format is not known"},
          std::pair{"r", "r: Open Babel knows no format of this name"}}) {
        EXPECT_TRUE(contains(run("perceive " + std::string(input) + " < r").err, told)) << input;
    }
    EXPECT_TRUE(
        contains(run("react - - --input-format sdf < r" + quickly).err, "only one of the files"));
    write("cut.sdf.gz", contents("one").substr(0, 100));
    EXPECT_TRUE(contains(run("perceive cut.sdf.gz").err, "cut.sdf.gz: the packed file is damaged"));
}

// As xtb 6.5 writes them for water.
const std::string coordFile = R"($coord
        0.00017007330751        0.01180672867695        0.00000000000000      o
        1.81256147176090       -0.01225372530791        0.00000000000000      h
       -0.51273154506841        1.75044699663096        0.00000000000000      h
$end
)";
const std::string trajectory = R"(3
 energy: -5.070543980434 gnorm: 0.000942271669 xtb: 6.5.1 (unknown)
O            0.00799890926486        0.01017735825440       -0.00000004568419
H            0.96618892783255       -0.01303612432613       -0.00000334989234
H           -0.25418296764871        0.93285499614638       -0.00000074085380
)";
const std::string vibrations = R"( Entering Gaussian System
 *********************************************
 Gaussian 98:
 frequency output generated by the xtb code
 *********************************************
 Charge = -1 Multiplicity = 3
 Symbolic Z-matrix:
                         Standard orientation:
 --------------------------------------------------------------------
  Center     Atomic     Atomic              Coordinates (Angstroms)
  Number     Number      Type              X           Y           Z
 --------------------------------------------------------------------
    1          8             0        0.007999    0.010177   -0.000000
    2          1             0        0.966189   -0.013036   -0.000003
    3          1             0       -0.254183    0.932855   -0.000001
 --------------------------------------------------------------------
)";
const std::string orca = R"(
                                 *****************
                                 * O   R   C   A *
                                 *****************

---------------------------------
CARTESIAN COORDINATES (ANGSTROEM)
---------------------------------
  O      0.007999    0.010177   -0.000000
  H      0.966189   -0.013036   -0.000003
  H     -0.254183    0.932855   -0.000001

)";

TEST_F(Inputs, OutputsOfProgramsAreReadByWhatTheyHold) {
    for (const auto &[name, text] :
         {std::pair{"xtbopt.coord", coordFile}, std::pair{"coord", coordFile},
          std::pair{"xtbopt.log", trajectory}, std::pair{"g98.out", vibrations},
          std::pair{"orca.out", orca}}) {
        SCOPED_TRACE(name);
        write(name, text);
        EXPECT_TRUE(contains(run(std::string("perceive ") + name).out, "\t3 atoms\t2 single\t"));
    }
    const auto records = readRecords(file("g98.out"), BondSource::formatOnly);
    EXPECT_EQ(structureOf(records.at(0)).charge, -1);
    EXPECT_EQ(structureOf(records.at(0)).unpaired, 2);
    EXPECT_FALSE(structureOf(records.at(0)).namesBonds);
}

TEST_F(Inputs, TheExtensionNamesWhatIsWritten) {
    const std::string react = "react reactants.xyz products.xyz" + quickly + "-o ";
    for (const auto &[name, begin] : {std::pair{"o.xyz", "9\nq-sn2"}, std::pair{"o.SDF", "q-"},
                                      std::pair{"o.mol2", "@<TRIPOS>"}}) {
        const auto answer = run(react + name);
        EXPECT_EQ(answer.status, 0) << answer.err;
        EXPECT_TRUE(contents(name).starts_with(begin)) << contents(name).substr(0, 50);
    }
    EXPECT_EQ(readRecords(file("o.mol2")).size(), 11U);
    for (const auto &[name, told] :
         {std::pair{"o.json", "take --json"}, std::pair{"o", "names no format"},
          std::pair{"o.sdf.gz", "no packed files are written"},
          std::pair{"o.cml", "holds one structure"},
          std::pair{"o.mol2 --resume", "cannot be gone on"}}) {
        SCOPED_TRACE(name);
        const auto answer = run(react + name);
        EXPECT_EQ(answer.status, 1);
        EXPECT_TRUE(contains(answer.err, told)) << answer.err;
    }
    EXPECT_TRUE(contains(run("perceive reactants.xyz -o o.xyz").err, "an SD file is written"));
    EXPECT_EQ(contents("o.json") + contents("o"), "");
}

// ---- hostile files
// --------------------------------------------------------------------------------

using HostileInputs = test::CommandLineTest;

std::string repeated(std::size_t times, const std::string &text) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

/// A chain of carbon in the V3000 form, all z = 0.
std::string flatChain(int atoms, int doubleBond) {
    std::string text = "chain\n\n\n  0  0  0     0  0            999 V3000\nM  V30 BEGIN CTAB\n"
                       "M  V30 COUNTS " +
                       std::to_string(atoms) + " " + std::to_string(atoms - 1) +
                       " 0 0 0\nM  V30 BEGIN ATOM\n";
    for (int i = 1; i <= atoms; ++i)
        text += "M  V30 " + std::to_string(i) + " C " + std::to_string(i * 1.3) + " 0 0 0\n";
    text += "M  V30 END ATOM\nM  V30 BEGIN BOND\n";
    for (int i = 1; i < atoms; ++i)
        text += "M  V30 " + std::to_string(i) + (i == doubleBond ? " 2 " : " 1 ") +
                std::to_string(i) + " " + std::to_string(i + 1) + "\n";
    return text + "M  V30 END BOND\nM  V30 END CTAB\nM  END\n$$$$\n";
}

/// An output of Gaussian with atoms at random places in a cube of three angstrom.
std::string denseOutput(int atoms) {
    std::string text = " Entering Gaussian System, Gaussian 16\n Standard orientation:\n ---\n"
                       " Center Atomic Atomic Coordinates\n Number Number Type X Y Z\n ---\n";
    for (int i = 0; i < atoms; ++i)
        text += test::columns(" %6d %10d %11d %14.6f %11.6f %11.6f\n", i + 1, 6, 0,
                              i * 7 % 31 / 10.0, i * 11 % 29 / 10.0, i * 13 % 37 / 10.0);
    return text + " ---\n Normal termination of Gaussian\n";
}

// What is read in a process of its own, with limits of time, memory and stack, costs little more
// than its bytes; what then takes long in a reaction ends with its time.
TEST_F(HostileInputs, CostNeitherTheProgramNorTheMachine) {
    const std::vector<std::pair<std::string, std::string>> files{
        {"long.smi", std::string(100'000, 'C') + "\n"},
        {"flat.sdf", flatChain(8000, 0)},
        {"counts.mol2", "@<TRIPOS>MOLECULE\nx\n 2000000000 2000000000\nSMALL\nNO_CHARGES\n\n"
                        "@<TRIPOS>ATOM\n" +
                            repeated(2000, "1 C 0 0 0 C.3\n")},
        {"deep.cml", "<cml>" + repeated(200'000, "<molecule>")},
        {"dense.log", denseOutput(6000)}};
    for (const auto &[name, bytes] : files)
        write(name, bytes);
    write("other.sdf", flatChain(8000, 7000));
    write("long.rsmi", std::string(100'000, 'C') + ">>" + std::string(99'998, 'C') + ".CC\n");
    ASSERT_EQ(run("db add k.db " SADDLEFIT_DATA "/parents_reactants.sdf " SADDLEFIT_DATA
                  "/parents_products.sdf " SADDLEFIT_DATA "/parents_ts.sdf --force")
                  .status,
              0);
    const auto start = std::chrono::steady_clock::now();
    for (const auto &[name, bytes] : files) {
        const auto answer = run("perceive " + name);
        EXPECT_EQ(answer.status, name == "flat.sdf" ? 0 : 1) << answer.err;
        EXPECT_TRUE(answer.status == 0 ||
                    answer.err.starts_with("saddlefit: " + name + ", record 1"))
            << answer.err;
    }
    for (const char *sides : {"long.rsmi", "flat.sdf other.sdf", "dense.log dense.log"}) {
        const auto answer = run(std::string("react ") + sides + " --db k.db --timeout 1");
        EXPECT_EQ(answer.status, 1);
        EXPECT_TRUE(contains(answer.err, "took longer than 1 s")) << answer.err;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    rusage use{};
    getrusage(RUSAGE_CHILDREN, &use);
#ifdef SADDLEFIT_SANITIZED // which keep shadows of the memory
    constexpr long most = 4'000'000;
#else
    constexpr long most = 1'000'000;
#endif
    EXPECT_LT(use.ru_maxrss, most) << "kB";
}

} // namespace
} // namespace saddlefit::host
