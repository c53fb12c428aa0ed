#include "saddlefit/database.h"
#include "saddlefit/host.h"
#include "saddlefit/reaction.h"
#include "saddlefit/store.h"

#include "database/open_database.hpp"
#include "database/stream.hpp"
#include "tests/database_file.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <climits>
#include <cmath>
#include <thread>
#include <unistd.h>

namespace {

using namespace saddlefit;
using namespace saddlefit::test;
using namespace std::string_literals;
using Codes = std::vector<int32_t>;
using Names = std::vector<std::string>;
using File = DatabaseFile;

/// A record without atoms, its counts as in a file.
std::string bareRecord(const std::string &name, const Codes &codes) {
    std::string bytes = integer(name.size() + 1, 2) + name + '\0' + integer(codes.size(), 2);
    for (int32_t code : codes)
        bytes += integer(static_cast<uint32_t>(code), 2);
    return bytes + std::string(6, '\0');
}

/// Two atoms, one bond, one transition, of which any atom below 0 is none.
OwnedMol hydroxyl() {
    return molecule({{8, 1, -2, 0.5}, {1, 0.1, 0, 1e-3}}, "0 1 1", {{0, 1, -2, 0}});
}

const std::string hydroxylRecord =
    "\4\0abc\0\3\0\3\0\7\0\0\0\2\0\1\0\1\0"s
    "\0\0\x80\x3F\0\0\0\xC0\0\0\0\x3F\10\0\xCD\xCC\xCC\x3D\0\0\0\0\x6F\x12\x83\x3A\1\0"s
    "\0\0\1\0\1\0\0\0\1\0\xFF\xFF\0\0"s;

bool insert(const File &file, const std::string &name, const Codes &codes, Molecule *mol) {
    return insertDB(file.path(), strdup(name.c_str()), codes.data(), mol) == 1;
}

Names listed(const File &file) {
    char **names = nullptr;
    const int count = listDB(file.path(), &names);
    Names result(names, names + count);
    for (int i = 0; i < count; ++i)
        std::free(names[i]);
    std::free(names);
    return result;
}

/// The name of the next record that passes; "-" at the end.
std::string nextName(FILE *stream, const char *name, const int32_t *codes,
                     OwnedMol *mol = nullptr) {
    Molecule *read = nullptr;
    const OwnedBlock<char> found(readDB(stream, name, codes, mol ? &read : nullptr));
    if (mol) mol->reset(read);
    return found ? found.get() : "-";
}

} // namespace

TEST(Records, AreStoredByteByByte) {
    const File file;
    const OwnedMol nothing(createMol()), mol = hydroxyl();
    EXPECT_TRUE(insert(file, "x", {0}, nothing.get()));
    const std::string first = "\x0E\0\0\0\1\2\0x\0\1\0\0\0\0\0\0\0\0\0"s;
    EXPECT_EQ(file.bytes(), first);
    EXPECT_TRUE(insert(file, "abc", {3, 7, 0}, mol.get()));
    EXPECT_EQ(file.bytes(), first + "\x3E\0\0\0\1"s + hydroxylRecord);

    const OwnedFile stream = file.open("rb");
    OwnedMol read;
    EXPECT_EQ(nextName(stream.get(), "abc", nullptr, &read), "abc");
    EXPECT_EQ(read->name, nullptr);
    EXPECT_EQ(read->atoms[1].x, static_cast<double>(0.1f));
    EXPECT_EQ(read->transitions[0].formA, -1);

    const File again;
    EXPECT_TRUE(insert(again, "abc", {3, 7, 0}, read.get()));
    EXPECT_EQ(again.bytes(), block(hydroxylRecord));
}

TEST(Records, PassTheFiltersExactly) {
    const File file(block(bareRecord("ab", {3, 7, 0})) + block(bareRecord("ab", {3, 0}), 0) +
                    block(bareRecord("ac", {3, 7, 0}) + "slack") +
                    block(bareRecord("abc", {-1, 0}), 2) + block(bareRecord("d", {0})) +
                    block(bareRecord("e", {3, 0, 0})));
    const struct {
        const char *name;
        Codes codes;
        Names found;
    } rows[] = {{"ab", {}, {"ab", "-"}},
                {nullptr, {3, 7, 0}, {"ab", "ac", "-"}},
                {nullptr, {3, 0}, {"-", "-"}},
                {nullptr, {-1, 0}, {"abc", "-"}},
                {nullptr, {0}, {"d", "-"}}};
    for (const auto &[name, codes, found] : rows) {
        SCOPED_TRACE(testing::PrintToString(codes));
        const OwnedFile stream = file.open("rb");
        for (const std::string &next : found)
            EXPECT_EQ(nextName(stream.get(), name, codes.empty() ? nullptr : codes.data()), next);
    }
}

TEST(Records, BeyondTheirFieldsAreRefusedUntouched) {
    struct Draft {
        OwnedMol mol = hydroxyl();
        std::string name = "abc";
        Codes codes{3, 7, 0};
        Atom &atom = mol->atoms[1];
        Bond &bond = *mol->bonds[0];
        Transition &step = mol->transitions[0];
    };
    const struct {
        const char *label;
        bool fits;
        void (*change)(Draft &);
    } rows[] = {
        {"longest name", true, [](Draft &d) { d.name.assign(65534, 'n'); }},
        {"name", false, [](Draft &d) { d.name.assign(65535, 'n'); }},
        {"most codes", true, [](Draft &d) { d.codes.assign(65535, 1), d.codes.back() = 0; }},
        {"codes", false, [](Draft &d) { d.codes.assign(65536, 1), d.codes.back() = 0; }},
        {"greatest code", true, [](Draft &d) { d.codes[0] = 65534, d.codes[1] = -1; }},
        {"code 65535", false, [](Draft &d) { d.codes[0] = 65535; }},
        {"code -2", false, [](Draft &d) { d.codes[1] = -2; }},
        {"element", false, [](Draft &d) { d.atom.element = 65536; }},
        {"overflow", false, [](Draft &d) { d.atom.y = -3.5e38; }},
        {"NaN", false, [](Draft &d) { d.atom.z = NAN; }},
        {"greatest float", true, [](Draft &d) { d.atom.x = 3.4028234e38; }},
        {"element -1", false, [](Draft &d) { d.atom.element = -1; }},
        {"bond atom", false, [](Draft &d) { d.bond.atom1 = 65535; }},
        {"bond atom -1", false, [](Draft &d) { d.bond.atom2 = -1; }},
        {"bond type", false, [](Draft &d) { d.bond.type = -5; }},
        {"far atom", true, [](Draft &d) { d.step.breakA = 65534; }},
        {"transition atom", false, [](Draft &d) { d.step.formA = 65535; }},
        {"atoms", false, [](Draft &d) { C_setAtom(d.mol.get(), 65535, 6, 0, nullptr, 0, 0, 0); }},
        {"most bonds", true, [](Draft &d) { C_setBond(d.mol.get(), 65534, 0, 1, 1); }},
        {"transitions", false, [](Draft &d) { C_setTransition(d.mol.get(), 65535, 0, 1, 0, 1); }},
        {"-1 atoms", false, [](Draft &d) { d.mol->atomCount = -1; }},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const File file;
        Draft draft;
        row.change(draft);
        EXPECT_EQ(insert(file, draft.name, draft.codes, draft.mol.get()), row.fits);
        EXPECT_EQ(listed(file).size(), row.fits ? 1u : 0u);
        EXPECT_EQ(file.bytes().empty(), !row.fits);
    }
    const File file;
    const OwnedMol mol = hydroxyl();
    const Codes codes{0};
    EXPECT_EQ(insertDB(file.path(), nullptr, codes.data(), mol.get()) +
                  insertDB(file.path(), strdup("n"), nullptr, mol.get()) +
                  insertDB(file.path(), strdup("n"), codes.data(), nullptr),
              0);
    EXPECT_EQ(file.bytes(), "");
}

TEST(Records, GoToTheEndOfAStreamThatOnlyAppends) {
    const OwnedMol mol = hydroxyl();
    const Codes codes{0};
    const File file, inserted;
    for (const char *name : {"one", "two"}) {
        const OwnedFile stream(std::fopen(file.path(), "a+b"));
        EXPECT_EQ(writeDB(stream.get(), strdup(name), codes.data(), mol.get()), 1);
        EXPECT_TRUE(insert(inserted, name, {0}, mol.get()));
    }
    EXPECT_EQ(file.bytes(), inserted.bytes());
}

TEST(Records, CutOffByAFullDiskDoNotCount) {
    const std::string before = block(bareRecord("first", {0}) + std::string(500, '.'));
    const OwnedMol mol = hydroxyl();
    for (int i = 0; i < 1000; ++i)
        addAtom(mol.get(), i, 0, 0, 6);
    for (std::size_t room : {0u, 4u, 5u, 9u, 9000u}) {
        SCOPED_TRACE(room);
        const File file(before);
        {
            const DiskLimit full(before.size() + room);
            EXPECT_EQ(printed([&] { EXPECT_FALSE(insert(file, "second", {0}, mol.get())); }),
                      room < 5 ? errorLines({92}) : "");
        }
        EXPECT_EQ(listed(file), Names{"first"});
        EXPECT_TRUE(insert(file, "second", {0}, mol.get()));
        EXPECT_EQ(listed(file), (Names{"first", "second"}));
    }
}

TEST(Maintenance, KeepsPositionsInFileOrder) {
    const File file(block(bareRecord("one", {0})) + block(bareRecord("two", {0}), 2) +
                    block(bareRecord("three", {0})));
    const std::string all = file.bytes();
    EXPECT_EQ(removeDB(file.path(), 2) + removeDB(file.path(), -1), 0) << "status 2 has no place";
    EXPECT_EQ(file.bytes(), all);
    EXPECT_EQ(removeDB(file.path(), 0), 1);
    EXPECT_EQ(listed(file), (Names{"two", "three"}));
    EXPECT_TRUE(insert(file, "new", {0}, OwnedMol(createMol()).get()));
    EXPECT_EQ(listed(file), (Names{"new", "two", "three"}));
    EXPECT_EQ(removeDB(file.path(), 1), 1);
    EXPECT_EQ(listed(file), (Names{"new", "two"}));
}

/// Blocks small and large, free and in use, by the hundred: most are passed over in memory.
TEST(Records, AreFoundAmongManyOthers) {
    struct Entry {
        std::string name;
        Codes codes;
        std::size_t next;
        bool free;
    };
    Dice dice(90);
    std::string bytes;
    std::vector<Entry> entries;
    Names names;
    for (int i = 0; i < 1500; ++i) {
        const std::string name(static_cast<std::size_t>(i % 300 == 299 ? 65000 : dice.below(3)),
                               'n');
        const Codes codes = dice.oneIn(2) ? Codes{1 + dice.below(3), 0} : Codes{2, 1, 0};
        const int slack = i % 50 == 49 ? dice.below(150000) : dice.below(300);
        const bool free = dice.oneIn(4);
        bytes += block(bareRecord(name, codes) + std::string(static_cast<std::size_t>(slack), 's'),
                       free ? 0 : 1);
        entries.push_back({name, codes, bytes.size(), free});
        if (!free) names.push_back(name);
    }
    const File file(bytes);
    const OwnedFile stream = file.open("rb");
    const Codes codes{2, 0};
    for (const char *name : {"n", "nn", ""}) {
        std::rewind(stream.get());
        for (const Entry &entry : entries) {
            if (entry.free || entry.codes != codes || entry.name != name) continue;
            EXPECT_EQ(nextName(stream.get(), name, codes.data()), name);
            EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(entry.next));
        }
        EXPECT_EQ(nextName(stream.get(), name, codes.data()), "-");
    }
    EXPECT_EQ(listed(file), names);
    const int last = static_cast<int>(names.size()) - 1;
    EXPECT_EQ(removeDB(file.path(), last + 1) + 2 * removeDB(file.path(), last), 2);
    names.pop_back();
    EXPECT_EQ(listed(file), names);
    EXPECT_EQ(Fmalloc(0x100000, file.open().get()), bytes.size() + 5);
}

TEST(Maintenance, ListsManyNamesPastManyFreeBlocksAndLeavesAnEmptyListAlone) {
    std::string bytes;
    Names names;
    for (int i = 0; i < 200201; ++i)
        bytes += i < 201 ? block(bareRecord(names.emplace_back("n" + std::to_string(i)), {0}))
                         : block("skipped", 0);
    EXPECT_EQ(listed(File(bytes)), names);
    char *mine[1];
    char **list = mine;
    EXPECT_EQ(listDB(File().path(), &list) + listDB("/nowhere/at/all", &list), 0);
    EXPECT_EQ(list, mine);
}

TEST(HostileFiles, EndListsAtTheirCountsAndWalksAtTheirOffsets) {
    const std::string good = block(bareRecord("good", {0}));
    const struct {
        const char *label;
        std::string bytes;
        Names names;
    } rows[] = {
        {"no NUL", block("\2\0ab\1\0\0\0"s) + good, {"ab", "good"}},
        {"no name", block("\0\0\1\0\0\0"s) + good, {"", "good"}},

        {"name beyond its block", block("\7\0ab"s) + good, {"ab\x11", "good"}},
        {"status cut off", good + "\0\0\0\0"s, {"good", ""}},

        {"size wraps to itself", good + head(0xFFFFFFFBu, 1) + "\2\0x\0"s + good, {"good", "x"}},
        {"free size wraps to 0", head(0xFFFFFFF6u, 0) + good, {}},
        {"offset just too far", head(0x7FFFFFFBu, 1) + "\2\0x\0"s, {"x"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const File file(row.bytes);
        EXPECT_EQ(listed(file), row.names);
        EXPECT_EQ(removeDB(file.path(), 2), 0);
    }
    const File file(block("\2\0a\0\1\0\3\0\0\0\0\0\0\0"s) + block(bareRecord("a", {3, 0})));
    const OwnedFile stream = file.open("rb");
    const Codes codes{3, 0};
    EXPECT_EQ(nextName(stream.get(), nullptr, codes.data()), "a");
    EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(file.bytes().size()));
}

TEST(HostileFiles, CutOrFlippedAnywhereAreReadInBounds) {
    const std::string whole =
        block(hydroxylRecord) + block(hydroxylRecord, 0) + block(bareRecord("tail", {5, 0}));
    const std::size_t firstBlock = 5 + hydroxylRecord.size();
    const auto readAll = [](const std::string &bytes) {
        const File file(bytes);
        const OwnedFile stream = file.open("rb");
        Names names;
        OwnedMol mol;
        for (std::string name; (name = nextName(stream.get(), nullptr, nullptr, &mol)) != "-";) {
            names.push_back(name);
            for (const Transition &step : transitionsOf(*mol))
                EXPECT_TRUE(step.formB >= -1 && step.formB < mol->atomCount);
        }
        return names;
    };
    for (std::size_t i = 0; i < whole.size(); ++i) {
        SCOPED_TRACE(i);
        const Names cut = readAll(whole.substr(0, i));
        EXPECT_LE(cut.size(), 2u);
        EXPECT_EQ(i >= firstBlock ? cut.at(0) : "abc", "abc");
        std::string flipped = whole;
        flipped[i] = static_cast<char>(~flipped[i]);
        EXPECT_LE(readAll(flipped).size(), whole.size() / 4);
    }
}

/// Records of some lengths, their code C-O; every third of the file's is removed.
void fillWithRecords(const File &file, int count) {
    for (int i = 0; i < count; ++i) {
        const OwnedMol mol = molecule(std::vector<At>(static_cast<std::size_t>(2 + i * 7 % 5), {6}),
                                      "0 1 1", {{0, 1, -1, -1}});
        mol->atoms[1].element = i % 4 == 0 ? 7 : 8;
        const OwnedBlock<int> code(getTransitionCode(mol.get()));
        EXPECT_TRUE(insert(file, "r" + std::to_string(i), {code.get(), code.get() + 3}, mol.get()));
    }
    for (int i = 0; i < count / 3; ++i)
        removeDB(file.path(), 2 * i);
}

Names namesWith(const OpenDatabase &database, const Codes &code) {
    Names names;
    for (const OwnedMol &mol : database.moleculesWith(code))
        names.emplace_back(mol->name);
    return names;
}

Names filtered(const File &file, Codes code) {
    Molecule **list = nullptr;
    const int count = filterDB(file.path(), code.data(), &list);
    Names names;
    for (Molecule *mol : countedSpan(list, count)) {
        names.emplace_back(mol->name);
        freeMol(mol);
    }
    std::free(static_cast<void *>(list));
    return names;
}

TEST(OpenDatabases, AnswerAsAScanDoesWhateverBecomesOfTheFile) {
    const File file;
    fillWithRecords(file, 60);
    const auto database = OpenDatabase::open(file.path());
    ASSERT_TRUE(database);
    const auto inMemory = [&] {
        const std::string bytes = file.bytes();
        return OpenDatabase::over({bytes.begin(), bytes.end()});
    };
    for (int change = 0; change < 4; ++change) {
        for (const bool rested : {false, true}) {
            if (rested) usleep(50000); // longer than the clock's step: now there is a table
            for (const Codes &code : {Codes{6, 8, 0}, {6, 7, 0}, {6, 9, 0}, {6, 8}, {0}}) {
                const Names expected = code.back() == 0 ? filtered(file, code) : Names{};
                EXPECT_EQ(namesWith(*database, code), expected) << change;
                EXPECT_EQ(namesWith(*inMemory(), code), expected) << change;
            }
        }
        std::vector<std::thread> threads;
        const Names expected = filtered(file, {6, 8, 0});
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] { EXPECT_EQ(namesWith(*database, {6, 8, 0}), expected); });
        for (std::thread &thread : threads)
            thread.join();
        removeDB(file.path(), 3 * change);
    }
    EXPECT_FALSE(database->empty());
    std::ofstream(file.path(), std::ios::trunc);
    EXPECT_TRUE(database->empty());
}

TEST(Stores, TakeManyRecordsWhereRepeatedInsertionPutsThem) {
    const File one;
    fillWithRecords(one, 40);
    const File many(one.bytes());
    StoreWriter *writer = openStoreWriter(many.path());
    ASSERT_TRUE(writer);
    for (int i = 0; i < 60; ++i) {
        const OwnedMol mol = molecule(std::vector<At>(static_cast<std::size_t>(1 + i * 5 % 9), {6}),
                                      "", {{0, -1, -1, -1}});
        const Codes code{6, 0};
        unsigned char *bytes = nullptr;
        const uint32_t length = packRecord("new", code.data(), mol.get(), &bytes);
        EXPECT_GT(insertPacked(writer, bytes, length), 0);
        std::free(bytes);
        EXPECT_TRUE(insert(one, "new", code, mol.get()));
    }
    EXPECT_EQ(insertPacked(writer, "", 0), 0);

    const StoreBlock first{0, STORE_HEADER_SIZE, 0, 1};
    EXPECT_EQ(removeStored(writer, &first), removeDB(one.path(), 0));
    EXPECT_EQ(removeStored(writer, &first), 0) << "it is free by now";
    EXPECT_EQ(closeStoreWriter(writer), 1);
    EXPECT_EQ(many.bytes(), one.bytes());
}

/// Each of many free blocks is searched for a record that it may have taken in, and only itself.
TEST(Stores, AreSurveyedInTimeThatGrowsWithTheirLength) {
    constexpr int count = 800000;
    std::string bytes;
    for (int i = 0; i < count; ++i)
        bytes += "\2\0\0\0\0\0\0"s;
    StoreFile *file = openStoreBytes(bytes.data(), bytes.size());
    StoreSurvey survey;
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(surveyStore(file, &survey), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(survey.freeBlocks, count);
    freeStoreSurvey(&survey);
    closeStore(file);
}

TEST(Files, AnswerByPath) {
    const File a("contents"), b("longer contents than those"), empty;
    const char *missing = "/nowhere/at/all";
    const std::string linked = a.path() + "-link"s,
                      spelled = testing::TempDir() + "./" + (a.path() + testing::TempDir().size());
    ASSERT_EQ(symlink(a.path(), linked.c_str()), 0);
    EXPECT_EQ(fileSize(a.path()), 8);
    EXPECT_EQ(copyFile(a.path(), b.path()), 0);
    for (const char *self : {a.path(), linked.c_str(), spelled.c_str()})
        EXPECT_EQ(copyFile(a.path(), self) + copyFile(self, a.path()), 0) << self;
    EXPECT_EQ(renameFile(a.path(), a.path()) + renameFile(a.path(), spelled.c_str()), 0);
    EXPECT_EQ(copyFile(a.path(), "/dev/full"), -1);
    EXPECT_EQ(fileSize(missing) + copyFile(missing, b.path()) + copyFile(a.path(), missing), 0);
    EXPECT_EQ(renameFile(missing, b.path()), 0);
    EXPECT_EQ(a.bytes() + b.bytes(), "contentscontents");
    EXPECT_EQ(copyFile(empty.path(), b.path()) + fileSize(b.path()), 0);
    EXPECT_EQ(renameFile(a.path(), missing), -1);
    EXPECT_EQ(renameFile(a.path(), b.path()), 0);
    EXPECT_EQ(b.bytes(), "contents");
    EXPECT_EQ(fileExists(b.path()), 1);
    EXPECT_EQ(fileExists(a.path()) + fileExists(linked.c_str()), 0);
    EXPECT_EQ(removeFile(linked.c_str()), 0);
    EXPECT_EQ(removeFile(linked.c_str()) + removeFile(nullptr), -2);
    EXPECT_EQ(fileSize(nullptr) + fileExists(nullptr) + copyFile(nullptr, b.path()) +
                  renameFile(nullptr, b.path()) + copyFile(b.path(), nullptr),
              0);
    EXPECT_EQ(renameFile(b.path(), nullptr), -1);
}
