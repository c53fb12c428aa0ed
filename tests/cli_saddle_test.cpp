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
            saddlefit::host::requireMethod("gfn2");
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
