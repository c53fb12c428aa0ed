#include "saddlefit/database.h"
#include "saddlefit/host.h"
#include "saddlefit/reaction.h"

#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

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
    mol->atoms[1].element = 8;
    mol->atoms[1].x = 1.5;
    return mol;
}

int insert(const char *path, const char *name) {
    const OwnedMol mol = carbonMonoxide();
    const OwnedBlock<int> code(getTransitionCode(mol.get()));
    return insertDB(path, strdup(name), code.get(), mol.get());
}

int list(const char *path) {
    char **names = nullptr;
    const int count = listDB(path, &names);
    for (char *name : countedSpan(names, count))
        std::free(name);
    std::free(static_cast<void *>(names));
    return count;
}

int filter(const char *path) {
    int code[] = {6, 8, 0};
    Molecule **list = nullptr;
    const int count = filterDB(path, code, &list);
    for (Molecule *mol : countedSpan(list, count))
        freeMol(mol);
    std::free(static_cast<void *>(list));
    return count;
}

int search(const char *path) {
    Molecule *match = nullptr;
    int *map = nullptr;
    const int found = mapDB(path, carbonMonoxide().get(), &match, &map);
    EXPECT_TRUE(!match && !map); // an exact match is not held
    return found;
}

/// 1 if nothing was found, and the constraints of the transitions stand.
int start(const char *path) {
    const OwnedMol mol = carbonMonoxide();
    const int result = C_startReaction(mol.get(), path);
    EXPECT_EQ(mol->constraintCount, 1);
    EXPECT_EQ(C_finishReaction(mol.get()), 0);
    return result;
}

std::vector<std::string> namesOf(const char *path) {
    std::vector<std::string> names;
    std::FILE *stream = std::fopen(path, "rb");
    while (const OwnedBlock<char> name{readDB(stream, nullptr, nullptr, nullptr)})
        names.emplace_back(name.get());
    std::fclose(stream);
    return names;
}

std::string bytesOf(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// A database of two records.
struct Stored : TemporaryFile {
    Stored() { EXPECT_EQ(insert(path(), "first") + insert(path(), "second"), 2); }
};

/// No file can grow beyond a size, nor be written there, as long as this lives.
class DiskLimit {
public:
    explicit DiskLimit(std::size_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~DiskLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    DiskLimit(const DiskLimit &) = delete;
    DiskLimit &operator=(const DiskLimit &) = delete;

private:
    void (*handler_)(int);
    rlimit before_{};
};

TEST_F(Faults, PathsThatAreNoDatabaseHoldNothingAndTakeNothing) {
    const std::string folder = testing::TempDir() + "saddlefit-folder";
    ASSERT_TRUE(std::filesystem::create_directory(folder));
    const struct {
        const char *label;
        std::string path;
        bool opensForWriting;
    } rows[] = {
        {"a folder", folder, false},
        {"missing", folder + "/missing", false},
        {"in no folder", "/nowhere/at/all", false},
        {"no name", "", false},
        {"cannot be read", "/proc/self/mem", true},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const char *path = row.path.c_str();
        const std::string lines = printed([&] {
            EXPECT_EQ(list(path) + filter(path) + search(path) + insert(path, "x"), 0);
            EXPECT_EQ(removeDB(path, 0) + removeDB(path, 1), 0);
            EXPECT_EQ(start(path), 1);
        });
        EXPECT_EQ(lines.starts_with("Error: (database/fmem,"), row.opensForWriting) << lines;
        EXPECT_EQ(lines.empty(), !row.opensForWriting) << lines;
    }
    EXPECT_FALSE(fileExists((folder + "/missing").c_str())) << "no operation makes a file";
    EXPECT_TRUE(std::filesystem::remove(folder));
}

TEST_F(Faults, FileThatMayNotBeWrittenIsReadAndStaysAsItIs) {
    const Stored file;
    ASSERT_EQ(chmod(file.path(), 0444), 0);
    const bool root = geteuid() == 0; // whom permissions do not stop
    if (root) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    const std::string before = bytesOf(file.path());
    EXPECT_EQ(insert(file.path(), "third") + removeDB(file.path(), 0), 0);
    EXPECT_EQ(list(file.path()), 2);
    EXPECT_EQ(filter(file.path()), 2);
    printed([&] { EXPECT_EQ(search(file.path()), 1); });
    const TemporaryFile other;
    EXPECT_EQ(copyFile(other.path(), file.path()), 0) << "the same as for a copy that was made";
    EXPECT_EQ(bytesOf(file.path()), before);
    EXPECT_EQ(copyFile(file.path(), other.path()), 0);
    EXPECT_EQ(bytesOf(other.path()), before);
    if (root) {
        ASSERT_EQ(seteuid(0), 0);
    }
}

/// On a full disk blocks can be had again and their bytes be written, but nothing be appended.
TEST_F(Faults, FullDiskTakesWhatFitsFreeBlocks) {
    const Stored file;
    ASSERT_EQ(removeDB(file.path(), 0), 1);
    const std::string before = bytesOf(file.path());
    const auto size = static_cast<std::size_t>(fileSize(file.path()));
    const DiskLimit full(size);
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
    const Stored file;
    const std::string before = bytesOf(file.path());
    const DiskLimit beforeTheSecond(before.size() / 2 - 1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(removeDB(file.path(), 1), 1); }),
              "Error: (database/fmem,61) failed to free file block\n");
    EXPECT_EQ(bytesOf(file.path()), before);
}

TEST_F(Faults, CopyThatDoesNotFitIsToldOfAndRenamingKeepsTheOldFile) {
    const Stored file;
    const std::string before = bytesOf(file.path());
    const std::string folder = testing::TempDir() + "saddlefit-folder";
    const TemporaryFile other;
    ASSERT_TRUE(std::filesystem::create_directory(folder));
    {
        const DiskLimit half(before.size() / 2);
        EXPECT_EQ(copyFile(file.path(), other.path()), -1);
        EXPECT_EQ(bytesOf(other.path()), before.substr(0, before.size() / 2));
    }
    EXPECT_EQ(copyFile(file.path(), folder.c_str()), 0);
    EXPECT_EQ(copyFile(folder.c_str(), other.path()), 0) << "it opens, and has no bytes";
    EXPECT_EQ(fileSize(other.path()), 0);
    EXPECT_EQ(renameFile(file.path(), folder.c_str()), -1);
    EXPECT_EQ(renameFile(file.path(), "/proc/there"), -1);
    EXPECT_EQ(removeFile(folder.c_str()), -1);
    EXPECT_EQ(bytesOf(file.path()), before);
    EXPECT_TRUE(std::filesystem::remove(folder));
}

} // namespace
