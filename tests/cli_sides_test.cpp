// What stands beside a database: written, kept, lost, foreign; and runs that are killed over it.
#include "host/store/side_record.hpp"
#include "host/system/error.hpp"
#include "tests/command_line.hpp"
#include "tests/killed_program.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit::test;
using nlohmann::json;

const std::string data = SADDLEFIT_DATA "/";
const std::string parents =
    data + "parents_reactants.sdf " + data + "parents_products.sdf " + data + "parents_ts.sdf ";
const std::string queries = data + "queries_reactants.sdf " + data + "queries_products.sdf ";

class Sides : public CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        ASSERT_EQ(run("db add a.db " + parents + "--force --date 2025-01-31 --licence CC0").status,
                  0);
        database_ = contents("a.db");
        lines_ = contents("a.db.jsonl");
    }
    void restore() const {
        write("a.db", database_);
        write("a.db.jsonl", lines_);
    }
    json checked(const std::string &name = "a.db") const {
        return json::parse(run("db check --json " + name).out).at("sides");
    }
    static std::vector<std::string> linesIn(const std::string &text) {
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }
    std::string database_, lines_;
};

TEST_F(Sides, FieldsAndOptionsAreKeptWithBothSides) {
    const auto lines = linesIn(lines_);
    const auto list = json::parse(run("db list a.db --json").out).at("records");
    ASSERT_EQ(lines.size(), list.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        SCOPED_TRACE(lines[i]);
        const auto line = json::parse(lines[i]);
        EXPECT_EQ(line.at("name"), list.at(i).at("name"));
        EXPECT_EQ(line.at("elements").size(), list.at(i).at("atoms"));
        EXPECT_EQ(line.at("product").at("positions").size(), list.at(i).at("atoms"));
        EXPECT_EQ(line.at("licence"), "CC0");
        EXPECT_EQ(line.at("date"), "2025-01-31");
        EXPECT_LT(line.at("wavenumber"), -100);
        EXPECT_GT(line.at("barrier"), 0) << "by the energies of the saddle and the reactant";
    }
    // A field goes before an option, and one that is no number keeps the record out.
    const auto record = contentsOf(data + "parents_ts.sdf");
    for (const auto &[fields, expected] : std::vector<std::pair<std::string, std::string>>{
             {"> <LICENCE>\nBY\n\n> <BARRIER>\n+1.5e1\n\n> <WAVENUMBER>\n300\n\n", ""},
             {"> <BARRIER>\nfifteen\n\n", "field BARRIER holds \"fifteen\", which is no number"}}) {
        const auto end = record.find("$$$$");
        write("t.sdf", record.substr(0, end) + fields + "$$$$\n");
        for (const std::string side : {"reactants", "products"}) {
            const auto text = contentsOf(data + "parents_" + side + ".sdf");
            write(side + ".sdf", text.substr(0, text.find("$$$$") + 5));
        }
        fs::remove(file("b.db.jsonl"));
        fs::remove(file("b.db"));
        const auto answer = run("db add b.db reactants.sdf products.sdf t.sdf --licence CC0");
        EXPECT_TRUE(contains(answer.err, expected)) << answer.err;
        if (!expected.empty()) continue;
        const auto line = json::parse(contents("b.db.jsonl"));
        EXPECT_EQ(line.at("licence"), "BY");
        EXPECT_EQ(line.at("barrier"), 15.0);
    }
}

TEST_F(Sides, EveryChangeOfARecordIsFound) {
    const auto records = json::parse(run("db list a.db --json").out).at("records");
    std::size_t begin = 0, tried = 0;
    for (const auto &record : records) {
        const auto bytes = record.at("bytes").get<std::size_t>();
        for (std::size_t at = 2; at < bytes; at += 29, ++tried) {
            auto changed = database_;
            changed[begin + 5 + at] = static_cast<char>(changed[begin + 5 + at] ^ 1);
            write("a.db", changed);
            EXPECT_EQ(run("db check a.db").status, 1) << record << " byte " << at;
        }
        begin += 5 + bytes;
    }
    EXPECT_GT(tried, 100U);
    // A line of a changed record is not lost by what comes next: it is the evidence.
    auto changed = database_;
    const auto name = records.at(0).at("name").get<std::string>().size();
    changed[5 + 2 + name + 1 + 2 + 40] ^= 1;
    write("a.db", changed);
    EXPECT_EQ(run("db remove a.db 1").status, 0);
    const auto sides = checked();
    EXPECT_EQ(sides.at("changed").at(0).at("name"), records.at(0).at("name")) << sides;
    EXPECT_EQ(sides.at("orphans"), json::array());
}

TEST_F(Sides, LinesFollowTheirRecords) {
    const auto lines = linesIn(lines_);
    const auto without = [&](std::size_t gone) {
        std::string text;
        for (std::size_t i = 0; i < lines.size(); ++i)
            if (i != gone) text += lines[i] + "\n";
        return text;
    };
    ASSERT_EQ(run("db remove a.db 3").status, 0);
    EXPECT_EQ(contents("a.db.jsonl"), without(3));
    ASSERT_EQ(run("db compact a.db").status, 0);
    EXPECT_EQ(contents("a.db.jsonl"), without(3));
    write("a.db", contents("a.db").replace(0, 4, "\x01\x01\x01\x01")); // the first block's size
    ASSERT_EQ(run("db salvage a.db b.db").status, 0);
    EXPECT_EQ(contents("b.db.jsonl"), without(3));
    ASSERT_EQ(run("db add b.db " + parents).status, 1) << "all but one are there";
    EXPECT_EQ(checked("b.db").at("kept"), lines.size());

    // Whoever had records before there were side files adds them once more.
    fs::remove(file("b.db.jsonl"));
    EXPECT_EQ(checked("b.db"), nullptr);
    ASSERT_EQ(run("db add b.db " + parents).status, 1);
    EXPECT_EQ(checked("b.db").at("kept"), lines.size());
}

TEST_F(Sides, ForeignAndBrokenOnesChangeNoAnswer) {
    const auto react = [&] {
        run("react " + queries + "--db a.db --json out.jsonl -o out.sdf");
        return contents("stdout") + contents("out.jsonl") + contents("out.sdf");
    };
    const auto expected = react();
    auto foreign = lines_;
    for (auto at = foreign.find("digest\":\""); at != foreign.npos;
         at = foreign.find("digest\":\"", at))
        foreign[at += 9] = 'x';
    for (auto at = foreign.find("guarded"); at != foreign.npos; at = foreign.find("guarded", at))
        foreign.replace(at, 7, "refused");
    for (const auto &lines : {std::string("no JSON\n\xFF\n{}\n"), foreign}) {
        write("a.db.jsonl", lines);
        EXPECT_EQ(react(), expected);
        EXPECT_EQ(run("db check a.db").status, 1);
    }
    fs::remove(file("a.db.jsonl"));
    EXPECT_EQ(react(), expected);
    // Whoever would write such a file anew says so before anything changes.
    write("a.db.jsonl", "mine\n");
    for (const std::string &command :
         {"add a.db " + parents, std::string("remove a.db 0"), std::string("compact a.db")}) {
        const auto answer = run("db " + command);
        EXPECT_EQ(answer.status, 1);
        EXPECT_TRUE(contains(answer.err, "a.db.jsonl: line 1 is no side record")) << answer.err;
        EXPECT_EQ(contents("a.db.jsonl"), "mine\n");
        EXPECT_EQ(contents("a.db"), database_);
    }
}

// Killed before the first renaming nothing has changed, before the second the database has, and
// behind that both have. Whatever is left, nothing is taken for what it is not, and the next change
// puts it in order.
TEST_F(Sides, AKilledRunLeavesNothingFalse) {
    struct Row {
        std::string command;
        int status; // undisturbed
    };
    const std::vector<Row> rows{{"db remove a.db 2 5", 0}, {"db add a.db " + parents, 1}};
    for (const auto &[command, status] : rows) {
        SCOPED_TRACE(command);
        restore();
        if (command.find("add") != command.npos) {
            ASSERT_EQ(run("db remove a.db 2 5").status, 0);
        }
        const auto before = contents("a.db"), linesBefore = contents("a.db.jsonl");
        ASSERT_EQ(run(command).status, status);
        const auto after = contents("a.db"), linesAfter = contents("a.db.jsonl");
        for (int renamings = 0; renamings < 3; ++renamings) {
            SCOPED_TRACE(renamings);
            write("a.db", before);
            write("a.db.jsonl", linesBefore);
            const bool killed = killedBeforeRenaming(file(""), SADDLEFIT_CLI, command, renamings);
            EXPECT_EQ(killed, renamings < 2);
            EXPECT_EQ(contents("a.db"), renamings < 1 ? before : after);
            EXPECT_EQ(contents("a.db.jsonl"), renamings < 2 ? linesBefore : linesAfter);
            EXPECT_EQ(checked().at("changed"), json::array());
            run(command == rows[0].command ? "db compact a.db" : command);
            const auto sides = checked();
            EXPECT_EQ(sides.at("missing"), 0);
            EXPECT_EQ(sides.at("orphans"), json::array());
        }
    }
}

TEST_F(Sides, RecordsAreFoundByWhatIsKnownOfThem) {
    const auto found = [&](const std::string &conditions) {
        std::vector<std::string> names;
        const auto answer = run("db find a.db --json " + conditions);
        if (answer.status != 0) return std::vector{answer.err};
        const auto object = json::parse(answer.out);
        for (const auto &entry : object.at("records"))
            names.push_back(entry.at("name"));
        return names;
    };
    std::vector<std::string> all, withBromine, low;
    for (const auto &line : linesIn(lines_)) {
        const auto known = json::parse(line);
        all.push_back(known.at("name"));
        const auto &elements = known.at("elements");
        if (std::find(elements.begin(), elements.end(), "Br") != elements.end())
            withBromine.push_back(all.back());
        if (known.at("barrier") <= 20) low.push_back(all.back());
    }
    EXPECT_EQ(found(""), all);
    EXPECT_EQ(found("--elements C,Br"), withBromine);
    EXPECT_EQ(found("--barrier ..20"), low);
    EXPECT_EQ(found("--barrier 20.. --refused"), std::vector<std::string>());
    EXPECT_EQ(found("--level gfn2"), all);
    EXPECT_EQ(found("--name " + all[3]), std::vector{all[3]});
    const auto code = json::parse(run("db show --json a.db " + all[3]).out).at("code");
    const auto sameCode = found("--code \"" + code.get<std::string>() + "\"");
    EXPECT_NE(std::find(sameCode.begin(), sameCode.end(), all[3]), sameCode.end());
    EXPECT_TRUE(contains(found("--elements C,Zz")[0], "\"Zz\" is no element"));
    EXPECT_TRUE(contains(found("--barrier ten")[0], "\"ten\" is no range"));
    EXPECT_TRUE(contains(run("db show a.db nobody").err, "no record is called \"nobody\""));
}

// What is exported is added to the same database, and merged into it nothing is new.
TEST_F(Sides, RecordsGoOutAndInUnchanged) {
    ASSERT_EQ(run("db export a.db --sdf all --xyz all.xyz").status, 0);
    ASSERT_EQ(run("db add b.db all_reactants.sdf all_products.sdf all_ts.sdf --force").status, 0);
    EXPECT_EQ(contents("b.db"), database_);
    EXPECT_EQ(contents("b.db.jsonl"), lines_);
    EXPECT_TRUE(contains(run("db merge a.db b.db").out, "0 stored in a.db, 14 were there already"));
    ASSERT_EQ(run("db remove a.db 0 5").status, 0);
    EXPECT_TRUE(contains(run("db merge a.db b.db").out, "2 stored"));
    EXPECT_EQ(checked().at("kept"), 14);
    EXPECT_EQ(checked().at("missing"), 0);
    EXPECT_TRUE(contains(run("db merge a.db a.db").err, "cannot be merged with itself"));
    const auto xyz = linesIn(contents("all.xyz"));
    EXPECT_TRUE(contains(xyz.at(1), " energy_hartree=-")) << xyz.at(1);
    EXPECT_EQ(xyz.at(0), std::to_string(json::parse(linesIn(lines_)[0]).at("elements").size()));
}

TEST_F(Sides, ANewNameKeepsWhatIsKnownAndThePosition) {
    const auto before = json::parse(run("db list a.db --json").out).at("records");
    const std::string name = before.at(2).at("name");
    ASSERT_EQ(run("db rename a.db " + name + " 'a \"new\" name'").status, 0);
    const auto after = json::parse(run("db list a.db --json").out).at("records");
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_EQ(after.at(i).at("name"), i == 2 ? "a \"new\" name" : before.at(i).at("name"));
    EXPECT_EQ(checked().at("kept"), before.size());
    EXPECT_EQ(json::parse(run("db show --json a.db 2").out).at("known").at("licence"), "CC0");
    EXPECT_EQ(run("db check a.db").status, 0);
    const std::string tooLong(65535, 'x');
    EXPECT_TRUE(contains(run("db rename a.db 2 " + tooLong).err, "no record can have this name"));
}

TEST_F(Sides, CountsAddUp) {
    const auto stats = json::parse(run("db stats a.db --json --svg a.svg").out);
    for (const char *what : {"codes", "levels", "atoms", "barriers"}) {
        std::size_t sum = 0;
        for (const auto &count : stats.at(what))
            sum += count.get<std::size_t>();
        EXPECT_EQ(sum, 14U) << what;
    }
    EXPECT_EQ(stats.at("elements").at("C"), 14);
    const auto picture = contents("a.svg");
    EXPECT_TRUE(contains(picture, "a.db: 14 records"));
    EXPECT_TRUE(contains(run("db stats a.db").out, "14 records, 14 with a side record, 0 refused"));
}

// A record that was refused answers where nothing else does, and nowhere else.
TEST_F(Sides, RefusedRecordsAreAskedLast) {
    const auto answers = [&] {
        run("react " + data + "parents_reactants.sdf " + data +
            "parents_products.sdf --db a.db --json out.jsonl");
        std::vector<json> list;
        for (const auto &line : linesIn(contents("out.jsonl")))
            list.push_back(json::parse(line));
        return list;
    };
    const auto before = answers();
    std::string marked = lines_;
    const auto lines = linesIn(lines_);
    const auto at = marked.find("guarded", marked.find(lines[4]));
    write("a.db.jsonl", marked.replace(at, 7, "refused"));
    const auto after = answers();
    std::size_t last = 0;
    for (std::size_t i = 0; i < after.size(); ++i) {
        const auto &report = after[i].at("search").back();
        if (!report.contains("lastResort")) {
            EXPECT_NE(after[i].at("match"), json::parse(lines[4]).at("name"));
            continue;
        }
        ++last;
        EXPECT_EQ(after[i].at("match"), json::parse(lines[4]).at("name"));
        EXPECT_EQ(after[i].at("atoms"), before[i].at("atoms"));
        EXPECT_TRUE(contains(after[i].at("warnings").back(), "refused as implausible"));
    }
    EXPECT_EQ(last, 1U);
    EXPECT_EQ(json::parse(run("db find a.db --refused --json").out).at("records").size(), 1U);
}

TEST(SideRecords, LinesAreReadAsTheyWereWrittenOrRefused) {
    using namespace saddlefit::host;
    const std::string line =
        R"({"digest":"0123456789abcdef0123456789abcdef","quality":"refused","name":"a \"b\"",)"
        R"("objections":["C1-O2 is long"],"level":"HF","charge":-1,"energy":-1.5,"barrier":12.25,)"
        R"("wavenumber":-431.5,"mine":{"x":[1]},"elements":["C","O"],)"
        R"("reactant":{"smiles":"[C-]#[O+]","charges":[-1,1],"bonds":[[1,2,3]],)"
        R"("positions":[[0.0,0.0,0.0],[0.0,0.0,1.128]]},"product":{"energy":-2.0}})";
    EXPECT_EQ(sideLine(sideRecordIn(line)), line);
    EXPECT_EQ(sideLineHead(line).name, "a \"b\"");
    const auto changed = [&](const std::string &part, const std::string &other) {
        return std::string(line).replace(line.find(part), part.size(), other);
    };
    for (const auto &broken :
         {line.substr(0, 300), changed("refused", "good"), changed("89abcdef\"", "\""),
          changed("-1.5", "\"-1.5\""), changed("[1,2,3]", "[1,3,3]"), changed("[1,2,3]", "[1,2,6]"),
          changed("[0.0,0.0,0.0],", ""), changed("[0.0,0.0,0.0]", "[0.0,0.0]"),
          changed("[-1,1]", "[-1]"), std::string("[]"), std::string("null"), std::string()}) {
        EXPECT_THROW(sideRecordIn(broken), Error) << broken;
    }
}

} // namespace
