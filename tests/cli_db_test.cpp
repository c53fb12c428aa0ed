// Databases: upkeep, on files written byte by byte; what is let in, and what they answer.
#include "tests/command_line.hpp"
#include "tests/record_bytes.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit::test;
using nlohmann::json;

// C1, N2, O3: C1-O3 falls, C1-N2 rises. With a name of two letters it has 85 bytes; the fields
// begin at 0 (L), 2 (name), 5 (C), 7 (code), 17 (A), 19 (B), 21 (T), 23 (atoms), 65 (bonds) and
// 77 (transitions). Half a float is 0 here, 0x3FC0 is 1.5, 0xC000 -2 and 0x3E80 0.25.
std::string record(const std::string &name, int x = 0x3FC0) {
    std::string text =
        integer(name.size() + 1, 2) + name + '\0' + shorts({5, 6, 7, 6, 8, 0}) + shorts({3, 2, 1});
    for (const int element : {6, 7, 8})
        text += shorts({0, x, 0, 0x3FC0, 0, 0x3FC0, element});
    return text + shorts({0, 1, 0, 0, 2, 5}) + shorts({0, 2, 0, 1});
}

const std::string slack(7, '\xEE');
const std::string first = record("aa");
const std::string second = record("bb", 0xC000);
const std::string third = record("cc", 0x3E80);
const std::string whole =
    block(first) + block(record("xx"), 0) + block(second, 1, slack) + block(third);
const std::string all = block(first) + block(second) + block(third);
constexpr std::size_t freeAt = 90, secondAt = 180, thirdAt = 277, endAt = 367;

class Upkeep : public CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        ASSERT_EQ(whole.size(), endAt);
        write("a.db", whole);
    }
    Answer db(const std::string &arguments) const { return run("db " + arguments); }

    // Salvages a.db; returns how many bytes were passed over.
    std::size_t salvaged(const std::string &expected) const {
        fs::remove(file("out.db"));
        const auto answer = db("salvage a.db out.db --json");
        EXPECT_EQ(answer.status, 0) << answer.err;
        EXPECT_EQ(contents("out.db"), expected);
        return json::parse(answer.out).at("bytesPassedOver").get<std::size_t>();
    }
};

const std::string kind = "\tC-N C-O\t3 atoms\t2 bonds\t1 transitions\t85 bytes\n";

TEST_F(Upkeep, AWholeFileIsListedCountedAndCompacted) {
    EXPECT_EQ(db("list a.db").out, "0\taa" + kind + "1\tbb" + kind + "2\tcc" + kind);
    EXPECT_EQ(db("check a.db").out, "3 records, 1 free blocks, 85 free bytes, 7 slack bytes\n");
    EXPECT_EQ(db("check a.db").status, 0);
    EXPECT_EQ(salvaged(all), 0U);
    const auto counts = json::parse(db("compact a.db --json").out);
    EXPECT_EQ(counts.at("bytesBefore"), endAt);
    EXPECT_EQ(counts.at("bytesAfter"), 270);
    EXPECT_EQ(contents("a.db"), all);
}

struct DamageRow {
    const char *name;
    std::size_t at;
    std::string bytes; // written there
    std::size_t offset;
    json position;
    std::string saved;
    std::size_t passedOver;
};

const std::string others = block(second) + block(third);

const std::vector<DamageRow> damages{
    {"status of a record", secondAt + 4, "\x07", secondAt + 4, 1, all, 7},
    {"status of a free block", freeAt + 4, "\xFF", freeAt + 4, 1,
     block(first) + block(record("xx")) + others, 0},
    {"size beyond the file", 0, integer(0x7FFFFFFF, 4), 0, 0, all, 0},
    {"size that takes in a record", 0, integer(215, 4), 0, 0, all, 90},
    {"size up to the next but one block", 0, integer(85 + 90 + 97, 4), 0, 0, all, 90},
    {"size into the free block", 0, integer(115, 4), 124, 1, all, 60},
    {"size below the atoms", 0, integer(60, 4), 22, 0, all, 0},
    {"size below the transitions", 0, integer(80, 4), 26, 0, all, 0},
    {"free block takes in a record", freeAt, integer(135, 4), freeAt, nullptr, all, 90},
    {"free block too small", freeAt, integer(65, 4), 160, nullptr, all, 20},
    {"length of the name", 5, shorts({4095}), 5, 0, others, 180},
    {"name without NUL", 9, "x", 9, 0, others, 180},
    {"name with an early NUL", 7, std::string(1, '\0'), 7, 0, others, 180},
    {"number of codes", 10, shorts({4095}), 10, 0, others, 180},
    {"even number of codes", 10, shorts({4}), 10, 0, others, 180},
    {"code without its 0", 20, shorts({6}), 20, 0, others, 180},
    {"code with an early 0", 14, shorts({0}), 14, 0, others, 180},
    {"code of another reaction", 12, shorts({1}), 12, 0, others, 180},
    {"element of another reaction", 40, shorts({9}), 12, 0, others, 180},
    {"number of atoms", 22, shorts({500}), 22, 0, others, 180},
    {"number of bonds", 24, shorts({500}), 24, 0, others, 180},
    {"number of transitions", secondAt + 26, shorts({500}), secondAt + 26, 1,
     block(first) + block(third), 97},
    {"coordinate that is no number", 46, shorts({0, 0x7FC0}), 46, 0, others, 180},
    {"bond", 72, shorts({3}), 72, 0, others, 180},
    {"transition", thirdAt + 82, shorts({3}), thirdAt + 82, 2, block(first) + block(second), 90},
};

TEST_F(Upkeep, EachDamageIsFoundAndTheRecordsAroundItAreSaved) {
    for (const auto &row : damages) {
        SCOPED_TRACE(row.name);
        auto bytes = whole;
        write("a.db", bytes.replace(row.at, row.bytes.size(), row.bytes));
        const auto answer = db("check a.db --json");
        EXPECT_EQ(answer.status, 1);
        EXPECT_TRUE(contains(answer.err, "offset " + std::to_string(row.offset) + ": "));
        const auto damage = json::parse(answer.out).at("damage");
        EXPECT_EQ(damage.at("offset"), row.offset) << damage;
        EXPECT_EQ(damage.at("record"), row.position);
        EXPECT_EQ(salvaged(row.saved), row.passedOver);
        EXPECT_TRUE(contains(db("compact a.db").err, "\"saddlefit db salvage\""));
        EXPECT_EQ(contents("a.db"), bytes);
    }
}

TEST_F(Upkeep, ACutFileIsDamagedUnlessABlockEndsThere) {
    for (std::size_t length :
         {3U, 5U, 89U, 90U, 94U, 179U, 180U, 182U, 250U, 276U, 277U, 281U, 282U, 300U, 366U}) {
        SCOPED_TRACE(length);
        write("a.db", whole.substr(0, length));
        std::size_t last = 0; // the block that is cut
        for (const auto start : {freeAt, secondAt, thirdAt})
            if (start <= length) last = start;
        const auto answer = db("check a.db");
        EXPECT_EQ(answer.status, last == length ? 0 : 1);
        EXPECT_EQ(contains(answer.err, "offset " + std::to_string(last) + ":"), last != length);
        if (last == 0) continue;
        // the slack may be cut, not the record
        const bool hasSecond = length >= secondAt + 90;
        EXPECT_EQ(salvaged(block(first) + (hasSecond ? block(second) : "")),
                  hasSecond && last == secondAt ? length - secondAt - 90 : length - last);
    }
}

TEST_F(Upkeep, SalvageNeedsARecordAndANewFile) {
    write("out.db", "stood here before");
    EXPECT_TRUE(contains(db("salvage a.db out.db").err, "out.db: exists already"));
    EXPECT_EQ(contents("out.db"), "stood here before");
    write("a.db", "no database at all");
    EXPECT_TRUE(contains(db("salvage a.db new.db").err, "a.db: no record can be read"));
    EXPECT_TRUE(contains(db("check a.db").err, "it seems to be no reaction database"));
    EXPECT_EQ(contents("new.db"), "");
}

TEST_F(Upkeep, AFileBeyondAllBlocksIsNotReadThrough) {
    write("long.db", "");
    std::filesystem::resize_file(file("long.db"), std::uintmax_t{3} << 30); // a hole
    for (const char *command : {"check long.db", "compact long.db", "salvage long.db out.db"}) {
        const auto answer = run(std::string("db ") + command);
        EXPECT_EQ(answer.status, 1);
        EXPECT_TRUE(contains(answer.err, "long.db: a database has at most 2 GiB")) << answer.err;
    }
}

TEST_F(Upkeep, APipeIsNoDatabaseToWaitFor) {
    ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
    for (const std::string command : {"db list ", "db check ", "db compact "}) {
        const auto call = "timeout 10 " SADDLEFIT_CLI " " + command + file("pipe") + " 2> ";
        EXPECT_EQ(WEXITSTATUS(std::system((call + file("told")).c_str())), 1) << command;
        EXPECT_TRUE(contains(contents("told"), "pipe: this is no reaction database")) << command;
    }
}

TEST_F(Upkeep, PositionsToRemoveMeanWhatWasListed) {
    EXPECT_EQ(db("remove a.db 0 2").out, "2 removed from a.db, 1 left\n");
    EXPECT_EQ(db("list a.db").out, "0\tbb" + kind);
    auto expected = whole;
    expected[4] = expected[thirdAt + 4] = 0;
    EXPECT_EQ(contents("a.db"), expected) << "only the status of two blocks changes";
    write("a.db", whole);
    const std::vector<std::pair<std::string, std::string>> refused{
        {"1 0 1", "a.db: record 1 is to be removed twice"},
        {"0 3", "a.db: there is no record 3; positions go from 0 to 2"},
        {"0 -1", "a.db: no record is called \"-1\""},
        {"", "--help"}};
    for (const auto &[positions, message] : refused) {
        SCOPED_TRACE(positions);
        const auto answer = db("remove a.db " + positions);
        EXPECT_EQ(answer.status, message == "--help" ? 2 : 1);
        EXPECT_TRUE(contains(answer.err, message)) << answer.err;
        EXPECT_EQ(contents("a.db"), whole);
    }
}

TEST_F(Upkeep, AWriterWaitsForTheOtherAndSeesItsChange) {
    const int held = open(file("a.db").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    auto waiting = std::async(std::launch::async, [&] { return db("remove a.db 0"); });
    for (int i = 0; i < 1000 && !contains(contents("stderr"), "waiting"); ++i)
        usleep(10000);
    EXPECT_TRUE(contains(contents("stderr"), "a.db: another run is changing this file"));
    EXPECT_EQ(contents("a.db"), whole);
    write("new.db", block(third) + block(first)); // as a writer leaves it: under the same name
    fs::rename(file("new.db"), file("a.db"));
    close(held);
    EXPECT_EQ(waiting.get().status, 0);
    EXPECT_EQ(contents("a.db"), block(third, 0) + block(first));

    std::string many;
    for (int i = 0; i < 8; ++i)
        many += block(second);
    write("many.db", many);
    const std::string remove = SADDLEFIT_CLI " db remove many.db 0 ";
    run("--version > version; for i in 1 2 3 4 5 6 7 8; do " + remove + "2> err$i & done; wait");
    EXPECT_EQ(db("check many.db").out.substr(0, 24), "0 records, 8 free blocks")
        << contents("err8");
}

TEST_F(Upkeep, ADamagedRecordDoesNotHideTheOthers) {
    auto bytes = whole;
    write("a.db", bytes.replace(72, 2, shorts({3}))); // a bond of the first record
    const auto answer = db("list a.db");
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.out, "1\tbb" + kind + "2\tcc" + kind);
    EXPECT_TRUE(contains(answer.err, "a.db, record 0, offset 72: a bond names atom 4 of 3"));
    EXPECT_EQ(db("show a.db 1").status, 0);
    EXPECT_EQ(db("show a.db 0").err, answer.err);
    EXPECT_EQ(db("remove a.db 0").status, 0) << "removal is a remedy too";
    EXPECT_EQ(db("check a.db").status, 0);
}

TEST_F(Upkeep, ARecordIsShownInFull) {
    auto text = db("show a.db 1 -o b.sdf").out;
    text += contents("b.sdf");
    for (const char *part :
         {"name\tbb\n", "code\tC-N C-O\n", "N2        -2.000000     1.500000     1.500000\n",
          "C1-N2         0\n", "C1-O3         5\n", "C1-O3 falls, C1-N2 rises\n", "\n  3  1  0",
          "   -2.0000    1.5000    1.5000 N ", "\n  1  3  4", "> <TRANSITIONS>\n1 3 1 2\n",
          "> <PARTIAL_BONDS>\n1 2\n"}) {
        EXPECT_TRUE(contains(text, part)) << part << "\n" << text;
    }
    EXPECT_TRUE(contains(db("show a.db 1 -o a.db").err, "a.db: this is the database"));
    EXPECT_TRUE(contains(db("show a.db 3").err, "a.db: there is no record 3"));
    EXPECT_EQ(contents("a.db"), whole);
}

TEST_F(Upkeep, JsonIsOneObjectWhateverTheNamesHold) {
    write("a.db", block(record("\xFF\t\"")) + block(third));
    EXPECT_EQ(db("list a.db").out.substr(0, 6), "0\t\xFF?\"\t");
    const auto list = json::parse(db("list a.db --json").out);
    EXPECT_EQ(list.at("records").at(0).at("name"), "\uFFFD\t\"");
    EXPECT_EQ(list.at("records").at(1).at("bytes"), 85);
    const auto shown = json::parse(db("show a.db 1 --json").out);
    EXPECT_EQ(shown.at("atoms").at(2).at("symbol"), "O");
    EXPECT_EQ(shown.at("atoms").at(0).at("position"), json({0.25, 1.5, 1.5}));
    EXPECT_EQ(shown.at("bonds"), json({{1, 2, 0}, {1, 3, 5}}));
    EXPECT_EQ(shown.at("transitions").at(0).at("rises"), json({1, 2}));
    EXPECT_EQ(json::parse(db("remove a.db 0 --json").out).at("removed"), json::array({0}));
}

// ---- what is let in -------------------------------------------------------------------------

struct DrawnAtom {
    std::string symbol;
    double x, y, z;
};
using DrawnAtoms = std::vector<DrawnAtom>;

double apart(const DrawnAtom &a, const DrawnAtom &b) {
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

// A methyl group goes from N2 to C3 of an isocyanide. Both bonds are 1.84 long, 1.21 and 1.26
// lengths of a single bond.
const DrawnAtoms crossing{{"C", 0.6, 1.74, 0},       {"N", 0, 0, 0},
                          {"C", 1.2, 0, 0},          {"H", 0.6, 2.16, 1.01},
                          {"H", -0.32, 2.09, -0.36}, {"H", 1.47, 2.03, -0.61}};

const std::vector<int> asDrawn{0, 1, 2, 3, 4, 5};

DrawnAtoms with(DrawnAtoms atoms, std::size_t place, const DrawnAtom &atom) {
    atoms[place] = atom;
    return atoms;
}

class Guard : public CommandLineTest {
protected:
    // Atom i of the new record is order[i] of `ts`.
    void add(const std::string &title, const DrawnAtoms &ts,
             const std::vector<int> &order = asDrawn) {
        r_ += molfile(title, ts, order, 1);
        p_ += molfile(title, ts, order, 2);
        write("r.sdf", r_);
        write("p.sdf", p_);
        write("ts.sdf", ts_ += molfile(title, ts, order, 1));
    }
    void forget() { r_ = p_ = ts_ = ""; }
    Answer store(const std::string &more = "") const {
        return run("db add a.db r.sdf p.sdf ts.sdf " + more);
    }
    json validated(const std::string &more = "") const {
        return json::parse(run("db validate a.db --json " + more).out);
    }

private:
    // The methyl group is bound to atom `partner`.
    static std::string molfile(const std::string &title, const DrawnAtoms &atoms,
                               const std::vector<int> &order, int partner) {
        std::vector<std::size_t> place(order.size());
        std::string text = title + "\n  test\n\n" + columns("%3zu  5", atoms.size()) +
                           "  0  0  0  0  0  0  0  0999 V2000\n";
        for (std::size_t i = 0; i < order.size(); ++i) {
            const auto &[symbol, x, y, z] = atoms[static_cast<std::size_t>(order[i])];
            text += columns("%10.4f%10.4f%10.4f %-3s 0  0\n", x, y, z, symbol.c_str());
            place[static_cast<std::size_t>(order[i])] = i + 1;
        }
        const auto bond = [&](int a, int b, int type) {
            text += columns("%3zu%3zu%3d  0\n", place[static_cast<std::size_t>(a)],
                            place[static_cast<std::size_t>(b)], type);
        };
        bond(0, partner, 1);
        bond(1, 2, 3);
        for (const int hydrogen : {3, 4, 5})
            bond(0, hydrogen, 1);
        return text + "M  END\n$$$$\n";
    }
    std::string r_, p_, ts_;
};

TEST_F(Guard, RepeatedRecordsStayOutAndImplausibleOnesBehindUnlessForced) {
    auto turned = crossing, mirrored = crossing, shifted = crossing, twisted = crossing;
    for (auto &[symbol, x, y, z] : turned) // by a quarter turn and a shift
        std::tie(x, y, z) = std::tuple(z + 1, x - 2, y + 3);
    for (auto &atom : mirrored)
        atom.z = -atom.z;
    for (auto &atom : shifted)
        atom.x += 0.0001;
    for (const std::size_t hydrogen : {3U, 4U, 5U}) // by a sixth of a turn
        std::swap(twisted[hydrogen].x, twisted[hydrogen].z);
    struct Row {
        const char *title;
        DrawnAtoms ts;
        std::vector<int> order;
        std::string reason; // empty: it is stored
    };
    const std::string repeated = "the same transition state is stored as first";
    const std::vector<Row> rows{
        {"first", crossing, asDrawn, ""},
        {"again", shifted, asDrawn, repeated},
        {"other-order", turned, {4, 2, 5, 0, 1, 3}, repeated},
        {"mirror-image", mirrored, {3, 5, 4, 2, 1, 0}, repeated},
        {"other-shape", twisted, asDrawn, ""},
        {"too-long", with(crossing, 2, {"C", 3.6, 0, 0}), asDrawn, "C1-C3, which is made, is 3.47"},
        {"too-short", with(crossing, 1, {"N", 0.1, 0.4, 0}), asDrawn, "C1-N2, which is broken"},
        {"clash", with(crossing, 5, {"H", 0.6, 2.16, 0.5}), asDrawn, "H4 and H6 are only 0.51"},
    };
    for (const auto &row : rows)
        add(row.title, row.ts, row.order);
    const auto answer = store("--json");
    EXPECT_EQ(answer.status, 1);
    const auto object = json::parse(answer.out);
    std::size_t refused = 0, stored = 0;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.title);
        const bool isRefused = row.reason == repeated;
        const auto &entry =
            isRefused ? object.at("refused").at(refused++) : object.at("stored").at(stored++);
        EXPECT_EQ(entry.at("name"), row.title);
        const auto reasons = entry.at(isRefused ? "reasons" : "warnings");
        EXPECT_EQ(reasons.empty(), row.reason.empty());
        if (row.reason.empty()) continue;
        EXPECT_TRUE(contains(reasons.at(0), row.reason)) << entry;
        EXPECT_TRUE(contains(answer.err, std::string("(") + row.title + "): " +
                                             (isRefused ? "not stored: " : "warning: kept")));
    }
    EXPECT_EQ(stored, object.at("stored").size());
    EXPECT_EQ(refused, object.at("refused").size());
    EXPECT_EQ(object.at("reasons"),
              json({{"the same transition state is stored", 3},
                    {"a made or broken bond is as short as a finished one", 1},
                    {"a made or broken bond is beyond 2.0 single bonds", 1},
                    {"two atoms are too close to each other", 1}}));
    EXPECT_EQ(json::parse(run("db find a.db --refused --json").out).at("records").size(), 3U);

    EXPECT_TRUE(contains(store().out, "0 stored in a.db, 8 refused\n  ")) << "all are known";
    const auto forced = store("--force");
    EXPECT_EQ(forced.status, 0);
    EXPECT_TRUE(contains(forced.out, "8 stored in a.db\n"));
    EXPECT_TRUE(contains(forced.err, "ts.sdf, record 8 (clash): warning: H4 and H6"));
}

// A bond that is short for a single one may still be far from what it is when finished.
TEST_F(Guard, ABondIsHeldAgainstItsLengthWhereItIsFinished) {
    const auto near = with(crossing, 0, {"C", 0.6, 1.36, 0}); // C1-N2 and C1-C3: 1.49
    for (const auto &[finished, kept] : {std::pair(1.40, true), std::pair(1.47, false)}) {
        forget();
        fs::remove(file("a.db"));
        fs::remove(file("a.db.jsonl"));
        const auto sides = with(near, 0, {"C", 0.6, std::sqrt(finished * finished - 0.36), 0});
        add("side", sides);
        const auto reactants = contents("r.sdf"), products = contents("p.sdf");
        forget();
        add("side", near);
        write("r.sdf", reactants);
        write("p.sdf", products);
        const auto object = json::parse(store("--json").out);
        EXPECT_EQ(object.at("stored").at(0).at("lastResort"), !kept) << object;
    }
}

TEST_F(Guard, ANewRecordTakesTheFirstFreeBlockThatHoldsIt) {
    for (const char *title : {"a", "b"})
        add(title, with(crossing, 3, {"H", 0.6, 2.16, title[0] == 'a' ? 1.0 : 1.1}));
    ASSERT_EQ(store().status, 0);
    const auto size = contents("a.db").size();
    ASSERT_EQ(run("db remove a.db 0").status, 0);
    forget();
    add("longer-than-its-room", crossing);
    add("c", with(crossing, 3, {"H", 0.6, 2.16, 0.9}));
    ASSERT_EQ(store().status, 0);
    const auto list = json::parse(run("db list a.db --json").out).at("records");
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list.at(0).at("name"), "c");
    EXPECT_EQ(list.at(1).at("name"), "b");
    EXPECT_EQ(contents("a.db").size(), size + 5 + list.at(2).at("bytes").get<std::size_t>());
}

// ---- what is answered -----------------------------------------------------------------------

TEST_F(Guard, LeftOutRecordsArePredictedFromTheRest) {
    auto other = with(crossing, 0, {"C", 0.5, 1.9, 0}); // methyl: from the fluorine, in part
    other = with(other, 3, {"F", 0.5, 2.4, 1.2});
    add("hydrogen", crossing);
    add("fluorine", other);
    ASSERT_EQ(store().status, 0);
    const auto object = validated();
    EXPECT_EQ(object.at("exact"), 2);
    EXPECT_EQ(object.at("coverage"), 1.0);
    EXPECT_EQ(object.at("bonds"), 4);
    const double nitrogen = std::abs(apart(crossing[0], crossing[1]) - apart(other[0], other[1]));
    const double carbon = std::abs(apart(crossing[0], crossing[2]) - apart(other[0], other[2]));
    EXPECT_NEAR(object.at("meanError"), (nitrogen + carbon) / 2, 1e-4);
    EXPECT_NEAR(object.at("percentile90"), std::max(nitrogen, carbon), 1e-4);
    const auto &worst = object.at("worst").at(0);
    EXPECT_EQ(worst.at("atoms"), json({1, 3}));
    EXPECT_NEAR(worst.at("error"), carbon, 1e-4);
    EXPECT_EQ(worst.at("from"), worst.at("name") == "hydrogen" ? "fluorine" : "hydrogen");
    const auto text = run("db validate a.db -j 2");
    EXPECT_TRUE(contains(text.out, "left out: 2 of 2 have a match (100.0 %)")) << text.out;
    EXPECT_EQ(text.status, 0);
}

TEST_F(Guard, RecordsThatDoNotAnswerForThemselvesAreNamed) {
    add("first", crossing);
    add("hidden", with(crossing, 3, {"H", 0.6, 2.3, 1.01}));
    ASSERT_EQ(store().status, 0);
    auto wrong = record("wrong", 0xC000);
    wrong.replace(wrong.size() - 10, 2, shorts({4})); // no bond falls to this type
    auto damaged = record("damaged");
    damaged.replace(damaged.size() - 12, 2, shorts({9}));
    write("a.db", contents("a.db") + block(wrong) + block(damaged) + block(first));
    const auto answer = run("db validate a.db --json -j 3");
    EXPECT_EQ(answer.status, 1);
    const auto problems = json::parse(answer.out).at("problems");
    ASSERT_EQ(problems.size(), 3U) << problems;
    const std::array<std::pair<std::string, std::string>, 3> expected{
        {{"a.db, record 1 (hidden): ", "is answered by first (record 0)"},
         {"a.db, record 2 (wrong): ", "its bonds are not such as its transitions leave"},
         {"a.db, record 3: ", "a bond names atom 10 of 3"}}};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(problems.at(i).at("position"), i + 1);
        EXPECT_TRUE(contains(answer.err,
                             expected[i].first + problems.at(i).at("problem").get<std::string>()));
        EXPECT_TRUE(contains(problems.at(i).at("problem"), expected[i].second));
    }
}

TEST_F(Guard, TheNumberOfWorkersChangesNothing) {
    for (int i = 0; i < 20; ++i)
        add("a" + std::to_string(i), with(crossing, 3, {"H", 0.6, 2.0 + 0.05 * i, 1}));
    ASSERT_EQ(store().status, 0);
    const auto alone = validated();
    EXPECT_EQ(alone.at("problems").size(), 19U) << "the first answers for all";
    EXPECT_EQ(validated("-j 4"), alone);
}

} // namespace
