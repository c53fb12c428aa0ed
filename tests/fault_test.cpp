#include "saddlefit/host.h"

#include "tests/bromomethane.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

// Faults of disks and paths, through every operation that a path can be handed to.

namespace {

using namespace saddlefit;
using namespace saddlefit::test;

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Each test has to give back every descriptor that it opened.
class Faults : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(openDescriptors(), before_); }

private:
    std::ptrdiff_t before_ = openDescriptors();
};

/// C-O falls; too long for a stream's buffer.
OwnedMol carbonMonoxide() {
    OwnedMol mol = molecule(std::vector<At>(700, {1}), "0 1 3", {{0, 1, -1, -1}});
    mol->atoms[0].element = 6;
    mol->atoms[1] = {8, 0, 0, 0, 0, nullptr, nullptr, 1.5, 0, 0};
    return mol;
}

int insert(const char *path, const char *name) {
    const OwnedMol mol = carbonMonoxide();
    const OwnedBlock<int> code(getTransitionCode(mol.get()));
    return insertDB(path, strdup(name), code.get(), mol.get());
}

/// How many records a listing and a filter give, what a search answers, and what the start of a
/// reaction: 1 if nothing was found, and the constraints of the transitions stand.
Ints answers(const char *path) {
    char **names = nullptr;
    const int listed = listDB(path, &names);
    for (char *name : countedSpan(names, listed))
        std::free(name);
    std::free(static_cast<void *>(names));
    int code[] = {6, 8, 0};
    Molecule **list = nullptr;
    const int filtered = filterDB(path, code, &list);
    for (Molecule *mol : countedSpan(list, filtered))
        freeMol(mol);
    std::free(static_cast<void *>(list));
    const OwnedMol mol = carbonMonoxide();
    Molecule *match = nullptr;
    int *map = nullptr; // an exact match is not held
    const int found = mapDB(path, mol.get(), &match, &map);
    const int started = C_startReaction(mol.get(), path);
    EXPECT_EQ(mol->constraintCount, 1);
    EXPECT_EQ(C_finishReaction(mol.get()), 0);
    return {listed, filtered, found, started};
}

std::vector<std::string> namesOf(const char *path) {
    std::vector<std::string> names;
    std::FILE *stream = std::fopen(path, "rb");
    while (const OwnedBlock<char> name{readDB(stream, nullptr, nullptr, nullptr)})
        names.emplace_back(name.get());
    std::fclose(stream);
    return names;
}

/// A database of two records.
struct Two : TemporaryFile {
    Two() { EXPECT_EQ(insert(path(), "first") + insert(path(), "second"), 2); }
};

TEST_F(Faults, PathsThatAreNoDatabaseHoldNothingAndTakeNothing) {
    const std::string missing = testing::TempDir() + "saddlefit-missing";
    const std::string unreadable = "/proc/self/mem";
    for (const std::string &path : {testing::TempDir(), missing, std::string(), unreadable}) {
        SCOPED_TRACE(path);
        const std::string lines = printed([&] {
            EXPECT_EQ(answers(path.c_str()), (Ints{0, 0, 0, 1}));
            EXPECT_EQ(insert(path.c_str(), "x") + removeDB(path.c_str(), 0), 0);
        });
        EXPECT_EQ(lines.substr(0, 22), path == unreadable ? "Error: (database/fmem," : "");
    }
    EXPECT_FALSE(fileExists(missing.c_str())) << "no operation makes a file";
}

TEST_F(Faults, FileThatMayNotBeWrittenIsReadAndStaysAsItIs) {
    const Two file;
    ASSERT_EQ(chmod(file.path(), 0444), 0);
    const bool root = geteuid() == 0; // whom permissions do not stop
    ASSERT_EQ(root ? seteuid(65534) : 0, 0);
    const std::string before = bytesOf(file.path());
    EXPECT_EQ(insert(file.path(), "third") + removeDB(file.path(), 0), 0);
    Ints found;
    printed([&] { found = answers(file.path()); });
    EXPECT_EQ(found, (Ints{2, 2, 1, 1})) << "a start finds nothing: it changes the bond";
    const TemporaryFile other;
    EXPECT_EQ(copyFile(other.path(), file.path()), 0) << "the same as for a copy that was made";
    EXPECT_EQ(bytesOf(file.path()), before);
    EXPECT_EQ(copyFile(file.path(), other.path()), 0);
    EXPECT_EQ(bytesOf(other.path()), before);
    ASSERT_EQ(root ? seteuid(0) : 0, 0);
}

/// On a full disk blocks can be had again and their bytes be written, but nothing be appended.
TEST_F(Faults, FullDiskTakesWhatFitsFreeBlocks) {
    const Two file;
    ASSERT_EQ(removeDB(file.path(), 0), 1);
    const std::string before = bytesOf(file.path());
    const DiskLimit full(before.size());
    EXPECT_EQ(insert(file.path(), "again"), 1);
    EXPECT_EQ(namesOf(file.path()), (std::vector<std::string>{"again", "second"}));
    printed([&] { EXPECT_EQ(insert(file.path(), "third"), 0); });
    EXPECT_EQ(namesOf(file.path()), (std::vector<std::string>{"again", "second"}));
    EXPECT_EQ(removeDB(file.path(), 1), 1);
    EXPECT_EQ(namesOf(file.path()), std::vector<std::string>{"again"});
    EXPECT_EQ(bytesOf(file.path()).size(), before.size());
}

/// As on a disk that fails: the block's header can be read and not be written.
TEST_F(Faults, RemovalThatCannotBeWrittenIsToldOf) {
    const Two file;
    const std::string before = bytesOf(file.path());
    const DiskLimit beforeTheSecond(before.size() / 2 - 1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(removeDB(file.path(), 1), 1); }),
              "Error: (database/fmem,61) failed to free file block\n");
    EXPECT_EQ(bytesOf(file.path()), before);
}

} // namespace
