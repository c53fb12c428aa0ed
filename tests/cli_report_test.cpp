/// Pages to look at: what is in them, and when there is none. How they look is a browser's affair
/// (check_report.py).
#include "tests/command_line.hpp"

#include <gtest/gtest.h>

namespace {

using namespace saddlefit::test;

class ReportTest : public CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        const std::string parents = SADDLEFIT_DATA "/parents_";
        ASSERT_EQ(run("db add --force db " + parents + "reactants.sdf " + parents +
                      "products.sdf " + parents + "ts.sdf")
                      .status,
                  0);
    }
    Answer react(const std::string &options) const {
        const std::string queries = SADDLEFIT_DATA "/queries_";
        return run("react " + queries + "reactants.sdf " + queries + "products.sdf --db db " +
                   options);
    }
    /// The lines that a page holds, with what was masked in them.
    std::string linesIn(const std::string &page) const {
        const auto text = contents(page);
        const std::string begin = "id=\"answers\">\n";
        const auto at = text.find(begin) + begin.size();
        return text.substr(at, text.find("</script>", at) - at);
    }
};

TEST_F(ReportTest, HoldsTheJsonOfItsReactions) {
    ASSERT_EQ(react("--json all.jsonl --html all.html").status, 0);
    const auto lines = contents("all.jsonl");
    EXPECT_EQ(linesIn("all.html"), lines);
    for (const char *options : {"--html page.html", "--json /dev/null --html page.html",
                                "--json all.jsonl --resume --html page.html"}) {
        EXPECT_EQ(react(options).status, 0) << options;
        EXPECT_EQ(linesIn("page.html"), lines) << options;
    }
    ASSERT_EQ(react("--json - --html page.html").out, lines);
    EXPECT_EQ(linesIn("page.html"), lines);
    ASSERT_EQ(react("--html -").status, 0);
    EXPECT_EQ(linesIn("stdout"), lines);
    ASSERT_EQ(react("--json 1.jsonl --shard 1/2").status, 0);
    ASSERT_EQ(react("--json 2.jsonl --shard 2/2").status, 0);
    EXPECT_EQ(run("report 1.jsonl 2.jsonl").out, "1.html\n");
    EXPECT_EQ(linesIn("1.html"), contents("1.jsonl") + contents("2.jsonl"));
}

TEST_F(ReportTest, MasksWhatWouldEndItsScripts) {
    write("<i>&.jsonl", "{\"record\":1,\"title\":\"</script><!--\",\"error\":\"no\"}\n");
    ASSERT_EQ(run("report '<i>&.jsonl' -o page.html").status, 0);
    EXPECT_TRUE(contains(linesIn("page.html"), "\"\\u003c/script>\\u003c!--\""));
    EXPECT_TRUE(contains(contents("page.html"), "<title>&lt;i&gt;&amp;.jsonl</title>"));
}

TEST_F(ReportTest, IsRefusedWithTheReason) {
    write("text.jsonl", "\nreaction 1\n");
    write("other.jsonl", "{\"record\":1,\"title\":\"x\"}\n");
    EXPECT_TRUE(contains(run("report text.jsonl").err, "text.jsonl: line 2 is no JSON object"));
    EXPECT_TRUE(contains(run("report other.jsonl").err, "line 1 is no answer to a reaction"));
    EXPECT_TRUE(contains(run("report text.jsonl -o text.jsonl").err, "is named twice"));
    EXPECT_FALSE(std::filesystem::exists(file("text.html")));
    EXPECT_EQ(react("--html page.html --resume").status, 2);
    EXPECT_TRUE(contains(react("--html no/page.html").err, "no/page.html: cannot be written"));
    EXPECT_TRUE(contains(react("--html p.html --json p.html").err, "is named twice"));
}

} // namespace
