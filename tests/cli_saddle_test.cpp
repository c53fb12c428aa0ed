// Saddle points by the program. What needs libxtb is skipped where it is absent.
#include "host/saddle/reaction_saddle.hpp"
#include "host/system/error.hpp"
#include "tests/command_line.hpp"

#include <nlohmann/json.hpp>

#include <regex>

namespace {

using namespace saddlefit::test;
using nlohmann::json;

class SaddleCommandTest : public CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        try {
            saddlefit::host::requireMethod({});
        } catch (const saddlefit::host::Error &error) {
            GTEST_SKIP() << error.what();
        }
        write("empty.db", "");
        write("hcn.sdf", record("hcn", "0 0 -1.07", "  1  2  3\n  1  3  1\n"));
        write("hnc.sdf", record("hcn", "0 0 2.17", "  1  2  3\n  2  3  1\n"));
        write("apart.sdf", record("hcn", "0 0 6", "  1  2  3\n"));
        write("turn.sdf", record("hcn", "0 1.1 0.3", "  1  2  3\n"));
        write("top.sdf", record("hcn", "0 0 0.01", "  1  2  3\n"));
    }

    /// Carbon, nitrogen and a hydrogen somewhere.
    static std::string record(const std::string &title, const std::string &hydrogen,
                              const std::string &bonds) {
        double x = 0, y = 0, z = 0;
        std::istringstream(hydrogen) >> x >> y >> z;
        const auto lines = static_cast<int>(std::count(bonds.begin(), bonds.end(), '\n'));
        return title + "\n\n\n" + columns("  3%3d  0  0  0  0  0  0  0  0999 V2000\n", lines) +
               columns("%10.4f%10.4f%10.4f %-3s 0  0\n", 0.0, 0.0, 0.0, "C") +
               columns("%10.4f%10.4f%10.4f %-3s 0  0\n", 0.0, 0.0, 1.16, "N") +
               columns("%10.4f%10.4f%10.4f %-3s 0  0\n", x, y, z, "H") + bonds + "M  END\n$$$$\n";
    }

    /// The start is what is searched from.
    Answer react(const std::string &product, const std::string &start,
                 const std::string &options) const {
        return run("react hcn.sdf " + product + " --db empty.db --stages full --relax none " +
                   "--start " + start + " --saddle " + options);
    }
};

TEST_F(SaddleCommandTest, TellsWhatBecameOfTheSearch) {
    struct Row {
        const char *product, *start, *options;
        const char *outcome, *figures, *said;
    };
    const char *saddle =
        "hartree\tbarrier 73\\.\\d kcal/mol\t14\\d\\d\\.\\di cm-1\t\\d+ gradients\n";
    const char *nothing = "-\t-\t-\t\\d+ gradients\n";
    const Row rows[] = {
        {"hnc.sdf", "turn.sdf", "", "verified", saddle, ""},
        {"hnc.sdf", "turn.sdf", "gfn1 --check fine", "verified", "hartree", ""},
        {"apart.sdf", "turn.sdf", "--attempts 1 --steps 1", "other ends", saddle, "other minima"},
        {"hnc.sdf", "top.sdf", "", "verified", saddle, ""}, // by the path between the sides
        {"hnc.sdf", "top.sdf", "--attempts 1", "failed", nothing, "angstrom apart"},
        {"hnc.sdf", "turn.sdf", "--charge 1 --uhf 2", "", "", "cannot be unpaired"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.product) + " " + row.start + " " + row.options);
        const auto answer = react(row.product, row.start, row.options);
        const auto outcome = std::string("\t") + row.outcome + "\t";
        EXPECT_TRUE(*row.outcome == '\0' || contains(answer.out, outcome)) << answer.out;
        EXPECT_TRUE(std::regex_search(answer.out, std::regex(row.figures))) << answer.out;
        EXPECT_TRUE(contains(answer.err, row.said)) << answer.err;
    }
}

TEST_F(SaddleCommandTest, WritesTheSaddlePointAndKeepsTheGuess) {
    react("apart.sdf", "turn.sdf", "--attempts 1 --steps 1 -v -o o.sdf --xyz o.xyz --json o.json");
    const auto answer = json::parse(contents("o.json"));
    const auto &saddle = answer["saddle"];
    EXPECT_EQ(answer["atoms"][2]["position"], json({0.0, 1.1, 0.3}));
    EXPECT_EQ(saddle["outcome"], "other ends");
    const auto &attempt = saddle["attempts"][0];
    EXPECT_EQ(attempt["ends"][0]["side"], "reactant");
    EXPECT_EQ(attempt["ends"][1]["made"], json({{2, 3}}));

    const double height = attempt["atoms"][2]["position"][1];
    EXPECT_GT(std::abs(height - 1.1), 0.01);
    const auto place = columns("%10.4f", height);
    EXPECT_TRUE(contains(contents("o.sdf"), place));
    EXPECT_TRUE(contains(contents("o.sdf"), "> <STRUCTURE>\nsaddle point\n"));
    EXPECT_TRUE(contains(contents("o.xyz"), " record=1 outcome=none saddle=\"other ends\" level="));
    if (attempt["reaction"].is_null()) return; // no Open Babel
    EXPECT_TRUE(contains(attempt["reaction"].get<std::string>(), "C#N>>"));
    EXPECT_TRUE(contains(contents("o.sdf"), "> <SADDLE_REACTION>\nC#N>>"));
    EXPECT_TRUE(contains(contents("stderr"), "saddle point of C#N>>"));
}

TEST_F(SaddleCommandTest, DoesNotDependOnTheNumberOfWorkers) {
    std::string reactants, products;
    for (const char *title : {"a", "b", "c"}) {
        reactants += record(title, "0 0 -1.07", "  1  2  3\n  1  3  1\n");
        products += record(title, "0 0.2 2.17", "  1  2  3\n  2  3  1\n");
    }
    write("r.sdf", reactants);
    write("p.sdf", products);
    std::string before;
    for (const char *jobs : {"-j1 --json o.json", "-j3 --json o.json",
                             "--shard 1/3 --json o.json.part", "--resume --json o.json"}) {
        SCOPED_TRACE(jobs);
        std::filesystem::remove(file("o.json"));
        run(std::string("react r.sdf p.sdf --db empty.db --saddle ") + jobs);
        if (contains(jobs, "--shard")) continue;
        if (before.empty()) before = contents("o.json");
        EXPECT_EQ(contents("o.json"), before);
    }
}

TEST_F(SaddleCommandTest, GoesOnFromAGivenGeometryAndVerifiesIt) {
    struct Row {
        const char *arguments, *outcome, *said;
    };
    react("hnc.sdf", "turn.sdf", "-o ts.sdf --xyz ts.xyz");
    react("hnc.sdf", "top.sdf", "--attempts 1 -o failed.sdf");
    write("heavy.xyz", "2\nheavy\nU 0 0 0\nH 0 0 2\n");
    const std::string sides = " --reactants hcn.sdf --products hnc.sdf";
    const std::pair<std::string, Row> rows[] = {
        {"", {"verify ts.sdf", "verified", ""}}, // the sides are in its fields
        {"", {"verify ts.xyz --check fine", "verified", ""}},
        {sides, {"verify ts.sdf", "verified", ""}},
        {sides, {"verify turn.sdf", "not converged", "gradient"}},
        {sides, {"saddle turn.sdf -o out.sdf", "verified", ""}},
        {"", {"saddle turn.sdf --method gfn1", "verified", ""}},
        {"", {"saddle failed.sdf", "failed", "angstrom apart"}},
        {"", {"verify ts.sdf --charge 1 --uhf 2", "", "cannot be unpaired"}},
        {"", {"verify heavy.xyz", "failed", "element 92"}},
        {"", {"saddle turn.sdf --timeout 1e-4", "", "took longer"}},
    };
    for (const auto &[more, row] : rows) {
        SCOPED_TRACE(row.arguments + more);
        const auto answer = run(row.arguments + more);
        const auto outcome = std::string("\t") + row.outcome + "\t";
        EXPECT_TRUE(*row.outcome == '\0' || contains(answer.out, outcome)) << answer.out;
        EXPECT_TRUE(contains(answer.err, row.said)) << answer.err;
    }
    EXPECT_TRUE(contains(contents("out.sdf"), "> <SADDLE>\nverified\n"));

    run("verify ts.sdf --irc path.xyz");
    const auto path = contents("path.xyz");
    EXPECT_TRUE(contains(path, "hcn record=1 s=-0.100 energy_hartree=-5.")) << path;
    EXPECT_TRUE(contains(path, "hcn record=1 s=1.000 energy_hartree=-5.")) << path;
}

// Near the saddle of HCN -> HNC, out of what the programs print there: xtb (GFN2), psi4 and NWChem
// (RHF/STO-3G); in the manner of ORCA's manual the same as NWChem's.
const char *const g98 = R"(                         Standard orientation:
 ------------------------------------------------------
  Center     Atomic     Atomic              Coordinates
  Number     Number      Type              X           Y           Z
 ------------------------------------------------------
    1          6             0        0.000000    0.000000    0.000000
    2          7             0        0.000004    0.000002    1.180000
    3          1             0        0.000007    1.100001    0.299998
 ------------------------------------------------------
 Frequencies -- -1603.8213              2150.6339              2508.1796
 Red. masses --     2.7986                12.6322                 1.8123
 Atom AN      X      Y      Z        X      Y      Z        X      Y      Z
   1   6     0.00   0.23   0.20     0.00  -0.06   0.71     0.00   0.22   0.11
   2   7    -0.00  -0.24   0.06    -0.00   0.02  -0.68    -0.00   0.06  -0.09
   3   1    -0.00   0.09  -0.92     0.00   0.13   0.11    -0.00  -0.96  -0.03
)";
const char *const psi4 = R"(    Geometry (in Angstrom), charge = 0, multiplicity = 1:

       Center              X                  Y                   Z               Mass
    ------------   -----------------  -----------------  -----------------  -----------------
         C            0.000000000000    -0.027371177587    -0.023936779501    12.000000000000
         N            0.000000000000    -0.000763629466     1.197011240313    14.003074004430
         H            0.000000000000     1.128134807054     0.306925539187     1.007825032230

  Vibration                       1                   8                   9
  Freq [cm^-1]                1248.7380i          2106.4365           3071.6652
  Irrep                           A                   A                   A
  ----------------------------------------------------------------------------------
      1   C               -0.00 -0.07 -0.05   -0.00 -0.01  0.72   -0.00 -0.06 -0.01
      2   N                0.00  0.07 -0.02   -0.00  0.00 -0.64    0.00 -0.02  0.00
      3   H               -0.00 -0.06  0.99    0.00  0.09  0.25   -0.00  1.00  0.02
)";
const char *const nwchem =
    R"( ---------------------------- Atom information ----------------------------
     atom    #        X              Y              Z            mass
 --------------------------------------------------------------------------
    C        1 -4.0725889D-35 -5.5718419D-02 -4.8497514D-02  1.2000000D+01
    N        2  2.9634071D-36 -8.0553592D-03  2.2591213D+00  1.4003070D+01
    H        3  1.8699613D-35  2.1271283D+00  5.8009838D-01  1.0078250D+00
 --------------------------------------------------------------------------

 P.Frequency    -1248.22       -0.00     2105.44

           1     0.00000     0.00000     0.00000
           2    -0.06873    -0.01322     0.27298
           3    -0.05067     0.19312    -0.00284
           4     0.00000     0.00000     0.00000
           5     0.06305     0.01166    -0.00015
           6    -0.02254     0.19260    -0.00242
           7     0.00000     0.00000     0.00000
           8    -0.05769    -0.00645    -0.00645
           9     0.91640     0.16958     0.16958
)";
const char *const orca = R"($orca_hessian_file

$vibrational_frequencies
9
    0       0.000000
    1       0.000000
    2       0.000000
    3       0.000000
    4       0.000000
    5       0.000000
    6   -1248.220000
    7    2105.440000
    8    3071.220000

$normal_modes
9 9
                  0          1          2          3          4
      0       0.0 0.0 0.0 0.0 0.0
      1       0.0 0.0 0.0 0.0 0.0
      2       0.0 0.0 0.0 0.0 0.0
      3       0.0 0.0 0.0 0.0 0.0
      4       0.0 0.0 0.0 0.0 0.0
      5       0.0 0.0 0.0 0.0 0.0
      6       0.0 0.0 0.0 0.0 0.0
      7       0.0 0.0 0.0 0.0 0.0
      8       0.0 0.0 0.0 0.0 0.0
                  5          6          7          8
      0       0.0  0.00000  0.00000  0.00000
      1       0.0 -0.06873  0.00297 -0.06104
      2       0.0 -0.05067 -0.20834 -0.00706
      3       0.0  0.00000  0.00000  0.00000
      4       0.0  0.06305 -0.00064 -0.01755
      5       0.0 -0.02254  0.19260 -0.00242
      6       0.0  0.00000  0.00000  0.00000
      7       0.0 -0.05769 -0.00645  0.90000
      8       0.0  0.91640  0.16958  0.01000

$atoms
3
 C     12.01100      0.000000   -0.055718   -0.048498
 N     14.00700      0.000000   -0.008055    2.259121
 H      1.00800      0.000000    2.127128    0.580098

$end
)";

TEST_F(SaddleCommandTest, TellsWhoseModeAFrequencyJobHas) {
    std::string softer = g98, cut = g98;
    softer.replace(softer.find("-1603.8213"), 10, " 1603.8213");
    cut.resize(cut.find("   3   1    -0.00   0.09"));
    write("g98.out", g98);
    write("psi4.out", psi4);
    write("nwchem.out", nwchem);
    write("orca.hess", orca);
    write("minimum.out", softer);
    write("cut.out", cut);
    const std::string sides = " --reactants hcn.sdf --products hnc.sdf";
    struct Row {
        std::string arguments;
        const char *printed, *said;
    };
    const Row rows[] = {
        {"g98.out" + sides, "\tmode of this reaction\tGaussian\t1 imaginary\t-1603.8 cm-1\t", ""},
        {"psi4.out" + sides, "\tmode of this reaction\tpsi4\t1 imaginary\t-1248.7 cm-1\t", ""},
        {"nwchem.out" + sides, "\tmode of this reaction\tNWChem\t1 imaginary\t-1248.2 cm-1\t", ""},
        {"orca.hess" + sides, "\tmode of this reaction\tORCA\t1 imaginary\t-1248.2 cm-1\t", ""},
        {"minimum.out" + sides, "\tno imaginary mode\tGaussian\t0 imaginary", ""},
        {"cut.out" + sides, "", "cut off"},
        {"g98.out", "", "give it by --reactants and --products"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.arguments);
        const auto answer = run("verify " + row.arguments);
        EXPECT_EQ(answer.status, *row.said == '\0' ? 0 : 1);
        EXPECT_TRUE(contains(answer.out, row.printed)) << answer.out;
        EXPECT_TRUE(contains(answer.err, row.said)) << answer.err;
    }
}

TEST_F(SaddleCommandTest, LearnsWhatItFound) {
    const auto learned = react("hnc.sdf", "turn.sdf", "--learn new.db");
    EXPECT_TRUE(contains(learned.err, "1 saddle points stored in new.db")) << learned.err;
    const auto again = run("react hcn.sdf hnc.sdf --db new.db");
    EXPECT_TRUE(contains(again.out, "exact hcn gfn2")) << again.out;
    // The same saddle, asked for as if hydrogen were to leave: of the reaction of its ends.
    react("apart.sdf", "turn.sdf", "--attempts 1 --steps 1 --learn other.db");
    EXPECT_TRUE(contains(run("db list other.db").out, "hcn gfn2 other ends"));
    EXPECT_EQ(react("hnc.sdf", "turn.sdf", "--learn empty.db").status, 1);
}

TEST_F(SaddleCommandTest, IsStoredWithItsOwnEnds) {
    run("saddle turn.sdf -o found.sdf");
    EXPECT_EQ(run("db add own.db found.sdf --source mine").status, 0);
    const auto known = json::parse(run("db show own.db hcn --json").out).at("known");
    EXPECT_EQ(known.at("level"), "gfn2");
    EXPECT_EQ(known.at("source"), "mine");
    EXPECT_LT(known.at("wavenumber"), -1000);
    EXPECT_NEAR(known.at("barrier"), 73.2, 0.5);
    EXPECT_NEAR(known.at("reverseBarrier"), 53.2, 0.5);
    EXPECT_TRUE(contains(run("react hcn.sdf hnc.sdf --db own.db").out, "exact hcn"));
    const auto none = run("db add own.db hcn.sdf");
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(contains(none.err, "nothing was stored")) << none.err;
    EXPECT_EQ(run("db add own.db hcn.sdf hnc.sdf").status, 2);
}

TEST_F(SaddleCommandTest, WritesInputsThatBeginAtTheSaddlePoint) {
    react("hnc.sdf", "turn.sdf", "--constraints orca --job ts -d inputs");
    EXPECT_TRUE(contains(contents("inputs/0001-hcn.ts.orca.inp"), "InHessName \"0001-hcn.hess\""));
    EXPECT_TRUE(contains(contents("inputs/0001-hcn.hess"), "$hessian\n9\n"));
    EXPECT_TRUE(contains(contents("inputs/0001-hcn.product.xyz"), "3\nhcn\n"));
    EXPECT_EQ(react("hnc.sdf", "turn.sdf", "--constraints xtb --job ts").status, 2);
}

TEST_F(SaddleCommandTest, SaysWhereTheLibraryIsNone) {
    std::filesystem::create_directory(file("broken"));
    write("broken/libxtb.so.6", "");
    const auto command = "LD_LIBRARY_PATH=" + file("broken") + " " SADDLEFIT_CLI " react " +
                         file("hcn.sdf") + " " + file("hnc.sdf") + " --db " + file("empty.db") +
                         " --saddle 2> " + file("said");
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
    EXPECT_TRUE(contains(contents("said"), "libxtb6")) << contents("said");
}

} // namespace
