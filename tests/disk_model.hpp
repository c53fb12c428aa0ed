/// What a disk may hold after a crash of the machine: changes that no sync has waited for happen or
/// not, each page of its own, in any order.
#pragma once

#include "tests/folder.hpp"
#include "tests/system_calls.hpp"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace saddlefit::test {

/// Of a file, by its number, or of the names in the folder.
struct Change {
    enum class Kind { write, sync, syncNames, make, rename, remove } kind;
    int file = -1;
    std::size_t offset = 0;
    std::string bytes, name, newName;
};

/// Records what this process changes in one folder, by system call.
class Recorder {
public:
    Recorder(const std::string &folder, int firstNewFile) : folder_(folder), next_(firstNewFile) {
        current_ = this;
        if (!watchCalls(see)) {
            std::perror("seccomp");
            std::exit(2);
        }
    }
    ~Recorder() { watchCalls(nullptr); }
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;

    /// A file that is there already.
    void know(const std::string &name, int file) {
        struct stat status {};
        if (stat((folder_ + "/" + name).c_str(), &status) == 0) files_[status.st_ino] = file;
    }
    std::vector<Change> changes;

private:
    using Kind = Change::Kind;

    static std::optional<long> see(const SystemCall &call) { return current_->seen(call); }

    std::optional<long> seen(const SystemCall &call) {
        if (call.isOneOf({SYS_open, SYS_openat})) return seenOpening(call);
        if (call.isOneOf({SYS_rename, SYS_renameat, SYS_renameat2, SYS_unlink, SYS_unlinkat}))
            return seenNaming(call);
        if (call.isOneOf({SYS_fsync, SYS_fdatasync, SYS_write, SYS_pwrite64, SYS_writev}))
            return seenWriting(call);
        if (call.number == SYS_ftruncate) std::abort(); // which the model does not know
        return std::nullopt;
    }

    /// Nothing if it lies elsewhere.
    std::optional<std::string> nameOf(const std::string &path) const {
        if (path == folder_) return "";
        if (!path.starts_with(folder_ + "/")) return std::nullopt;
        return path.substr(folder_.size() + 1);
    }
    static std::string pathIn(const SystemCall &call, std::size_t argument) {
        return reinterpret_cast<const char *>(call.arguments[argument]);
    }

    std::optional<long> seenOpening(const SystemCall &call) {
        const bool isAt = call.number == SYS_openat;
        const auto path = pathIn(call, isAt ? 1 : 0);
        const auto name = nameOf(path);
        if (!name || (call.arguments[isAt ? 2 : 1] & O_CREAT) == 0) return std::nullopt;
        const bool isNew = access(path.c_str(), F_OK) != 0;
        const long descriptor = call.happen();
        struct stat status {};
        if (descriptor < 0 || fstat(static_cast<int>(descriptor), &status) != 0) return descriptor;
        if (isNew) {
            files_[status.st_ino] = next_;
            changes.push_back({Kind::make, next_++, 0, {}, *name, {}});
        }
        return descriptor;
    }

    std::optional<long> seenNaming(const SystemCall &call) {
        const bool removes = call.isOneOf({SYS_unlink, SYS_unlinkat});
        const bool isAt = !call.isOneOf({SYS_rename, SYS_unlink});
        const auto name = nameOf(pathIn(call, isAt ? 1 : 0));
        if (!name) return std::nullopt;
        const auto newName = removes ? "" : nameOf(pathIn(call, isAt ? 3 : 1)).value();
        struct stat status {};
        if (stat((folder_ + "/" + *name).c_str(), &status) != 0) return std::nullopt;
        const long result = call.happen();
        if (result == 0)
            changes.push_back({removes ? Kind::remove : Kind::rename,
                               files_.at(status.st_ino),
                               0,
                               {},
                               *name,
                               newName});
        return result;
    }

    std::optional<long> seenWriting(const SystemCall &call) {
        const auto name = nameOf(pathOf(call.descriptor()));
        if (!name) return std::nullopt;
        struct stat status {};
        fstat(call.descriptor(), &status);
        const int file = name->empty() ? -1 : files_.at(status.st_ino);
        if (call.isOneOf({SYS_fsync, SYS_fdatasync})) {
            changes.push_back({file < 0 ? Kind::syncNames : Kind::sync, file, 0, {}, {}, {}});
            return std::nullopt;
        }
        if (call.number == SYS_writev) std::abort(); // which the model does not know
        const bool appends = (fcntl(call.descriptor(), F_GETFL) & O_APPEND) != 0;
        const long place = call.number == SYS_pwrite64 ? call.arguments[3]
                           : appends                   ? status.st_size
                                     : unseen(SYS_lseek, call.arguments[0], 0L, long{SEEK_CUR});
        const long done = call.happen();
        const auto *bytes = reinterpret_cast<const char *>(call.arguments[1]);
        if (done > 0)
            changes.push_back({Kind::write,
                               file,
                               static_cast<std::size_t>(place),
                               std::string(bytes, static_cast<std::size_t>(done)),
                               {},
                               {}});
        return done;
    }

    inline static Recorder *current_ = nullptr;
    std::string folder_;
    int next_;
    std::map<ino_t, int> files_;
};

/// A disk that writes pages of a size whole or not at all.
class Disk {
public:
    Disk(const Folder &before, std::size_t pageSize) : pageSize_(pageSize) {
        int number = 0;
        for (const auto &[name, bytes] : before) {
            files_[number].durable = bytes;
            names_[name] = number++;
        }
    }

    void take(const Change &change) {
        switch (change.kind) {
        case Change::Kind::write:
            files_[change.file].writes.push_back(&change);
            break;
        case Change::Kind::sync:
            settle(files_[change.file]);
            break;
        case Change::Kind::syncNames:
            settleNames();
            break;
        default:
            namings_.push_back(&change);
        }
    }

    /// Hand out what a crash may leave now: all of it, or so many, of which the first are those
    /// where nothing and where everything has happened.
    template <class Visit> void forEachState(std::size_t most, std::mt19937 &dice, Visit visit) {
        const auto choices = numbersOfChoices();
        double all = 1;
        for (const auto count : choices)
            all *= static_cast<double>(count);
        std::vector<std::size_t> choice(choices.size(), 0);
        if (all <= static_cast<double>(most)) {
            do
                visit(state(choice));
            while (next(choice, choices));
            return;
        }
        for (std::size_t turn = 0; turn < most; ++turn) {
            choose(turn, choices, choice, dice);
            visit(state(choice));
        }
    }

    /// Everything, as what reads meanwhile sees it, and what a killed process leaves.
    Folder asWritten() const {
        auto choice = numbersOfChoices();
        for (auto &last : choice)
            --last;
        return state(choice);
    }

private:
    using Choice = std::vector<std::size_t>;

    struct File {
        std::string durable;
        std::vector<const Change *> writes;

        /// It may have any of these, one after the other.
        std::vector<std::size_t> sizes() const {
            std::vector<std::size_t> sizes{durable.size()};
            for (const auto *write : writes)
                if (write->offset + write->bytes.size() > sizes.back())
                    sizes.push_back(write->offset + write->bytes.size());
            return sizes;
        }
    };

    /// How often each page was written.
    std::map<std::size_t, std::size_t> pagesOf(const File &file) const {
        std::map<std::size_t, std::size_t> pages;
        for (const auto *write : file.writes)
            for (auto page = write->offset / pageSize_; page <= lastPage(*write); ++page)
                ++pages[page];
        return pages;
    }
    std::size_t lastPage(const Change &write) const {
        return (write.offset + write.bytes.size() - 1) / pageSize_;
    }

    Choice numbersOfChoices() const {
        Choice numbers(namings_.size(), 2);
        for (const auto &[number, file] : files_) {
            numbers.push_back(file.sizes().size());
            for (const auto &[page, times] : pagesOf(file))
                numbers.push_back(times + 1);
        }
        return numbers;
    }

    static bool next(Choice &choice, const Choice &numbers) {
        for (std::size_t i = 0; i < choice.size(); ++i) {
            if (++choice[i] < numbers[i]) return true;
            choice[i] = 0;
        }
        return false;
    }

    /// Nothing; everything; then in turn all but one, one alone, any.
    static void choose(std::size_t turn, const Choice &numbers, Choice &choice,
                       std::mt19937 &dice) {
        const std::size_t one = dice() % numbers.size();
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            const auto last = numbers[i] - 1;
            const bool happens = turn < 2 ? turn == 1 : (turn % 3 == 0) == (i == one);
            choice[i] = turn > 1 && turn % 3 == 1 ? dice() % numbers[i] : happens ? last : 0;
        }
    }

    Folder state(const Choice &choice) const {
        auto names = names_;
        auto chosen = choice.begin();
        for (const auto *naming : namings_)
            if (*chosen++ != 0) name(*naming, names);
        std::map<int, std::string> contents;
        for (const auto &[number, file] : files_)
            contents[number] = contentsOf(file, chosen);
        Folder folder;
        for (const auto &[name, number] : names)
            folder[name] = contents[number];
        return folder;
    }

    std::string contentsOf(const File &file, Choice::const_iterator &chosen) const {
        const auto sizes = file.sizes();
        const auto size = sizes[*chosen++];
        std::map<std::size_t, std::size_t> left; // writes that have reached a page
        for (const auto &[page, times] : pagesOf(file))
            left[page] = *chosen++;
        auto bytes = file.durable;
        bytes.resize(sizes.back());
        for (const auto *write : file.writes) {
            for (auto page = write->offset / pageSize_; page <= lastPage(*write); ++page) {
                if (left[page] == 0) continue;
                --left[page];
                const auto from = std::max(write->offset, page * pageSize_);
                const auto to =
                    std::min(write->offset + write->bytes.size(), (page + 1) * pageSize_);
                bytes.replace(from, to - from, write->bytes, from - write->offset, to - from);
            }
        }
        bytes.resize(size);
        return bytes;
    }

    static void name(const Change &change, std::map<std::string, int> &names) {
        if (change.kind == Change::Kind::make)
            names[change.name] = change.file;
        else
            names.erase(change.name);
        if (change.kind == Change::Kind::rename) names[change.newName] = change.file;
    }

    static void settle(File &file) {
        file.durable.resize(file.sizes().back());
        for (const auto *write : file.writes)
            file.durable.replace(write->offset, write->bytes.size(), write->bytes);
        file.writes.clear();
    }
    void settleNames() {
        for (const auto *naming : namings_)
            name(*naming, names_);
        namings_.clear();
    }

    std::size_t pageSize_;
    std::map<int, File> files_;
    std::map<std::string, int> names_;
    std::vector<const Change *> namings_;
};

} // namespace saddlefit::test
