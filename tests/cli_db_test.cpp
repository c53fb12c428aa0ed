// The upkeep of databases, on files written byte by byte.
#include "tests/command_line.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit::test;
using nlohmann::json;

std::string little(unsigned int value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    return text;
}

std::string shorts(const std::vector<unsigned int> &values) {
    std::string text;
    for (const auto value : values)
        text += little(value, 2);
    return text;
}

std::string block(const std::string &data, char status = 1, const std::string &slack = "") {
    return little(static_cast<unsigned int>(data.size() + slack.size()), 4) + status + data + slack;
}

// C1, N2, O3: C1-O3 falls, C1-N2 rises. With a name of two letters it has 85 bytes; the fields
// begin at 0 (L), 2 (name), 5 (C), 7 (code), 17 (A), 19 (B), 21 (T), 23 (atoms), 65 (bonds) and
// 77 (transitions). Half a float is 0 here, 0x3FC0 is 1.5, 0xC000 -2 and 0x3E80 0.25.
std::string record(const std::string &name, unsigned int x = 0x3FC0) {
    std::string text = shorts({static_cast<unsigned int>(name.size() + 1)}) + name + '\0' +
                       shorts({5, 6, 7, 6, 8, 0}) + shorts({3, 2, 1});
    for (const unsigned int element : {6U, 7U, 8U})
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
    {"size beyond the file", 0, little(0x7FFFFFFF, 4), 0, 0, all, 0},
    {"size that takes in a record", 0, little(215, 4), 0, 0, all, 90},
    {"size up to the next but one block", 0, little(85 + 90 + 97, 4), 0, 0, all, 90},
    {"size into the free block", 0, little(115, 4), 124, 1, all, 60},
    {"size below the atoms", 0, little(60, 4), 22, 0, all, 0},
    {"size below the transitions", 0, little(80, 4), 26, 0, all, 0},
    {"free block takes in a record", freeAt, little(135, 4), freeAt, nullptr, all, 90},
    {"free block too small", freeAt, little(65, 4), 160, nullptr, all, 20},
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
    EXPECT_EQ(contents("new.db"), "");
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
        {"0 -1", "--help"},
        {"", "--help"}};
    for (const auto &[positions, message] : refused) {
        SCOPED_TRACE(positions);
        const auto answer = db("remove a.db " + positions);
        EXPECT_EQ(answer.status, message == "--help" ? 2 : 1);
        EXPECT_TRUE(contains(answer.err, message)) << answer.err;
        EXPECT_EQ(contents("a.db"), whole);
    }
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

} // namespace
