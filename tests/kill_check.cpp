/// Kills processes that are changing a database and checks what they leave: every record that was
/// reported as stored is read back bit by bit, every removed one is gone, and the one operation
/// under way has happened or has not.
///
/// Half of the kills come at a random moment of a long run of operations. The others go through one
/// operation after another and kill it before its 1st, 2nd, 3rd, ... write to a file. Nothing but
/// writing changes the file, so these are all the states that a kill between two system calls can
/// leave, however short the moment.

#include "saddlefit/database.h"
#include "saddlefit/host.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <cinttypes>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace saddlefit;

[[noreturn]] void giveUp(const char *what) {
    std::perror(what);
    std::exit(2);
}

class Dice {
public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}
    std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(engine_() % n); }
    /// Small numbers are as likely as large ones, by order of magnitude.
    std::uint32_t scattered(std::uint32_t least, std::uint32_t most) {
        std::uint32_t range = least;
        while (range < most && below(6))
            range *= 2;
        return std::min(most, least + below(range));
    }

private:
    std::mt19937_64 engine_;
};

// ---- records, each made out of its serial number and its length

struct Key {
    std::uint32_t serial = 0, length = 0; ///< length of the record in bytes
    bool operator==(const Key &) const = default;
};

constexpr std::uint32_t shortestRecord = 100, longestRecord = 50000;
constexpr std::int32_t codes[] = {6, 8, 1, 8, 0};
constexpr std::uint32_t codeCount = std::size(codes);

std::string integer(std::int64_t value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF)};
}

std::string real(double value) {
    const auto narrow = static_cast<float>(value);
    std::uint32_t bits;
    std::memcpy(&bits, &narrow, sizeof bits);
    return integer(bits & 0xFFFF) + integer(bits >> 16);
}

/// The bytes of a record by the table of the file's fields, written without the library.
std::string encoded(std::string_view name, const Molecule &mol) {
    std::string bytes = integer(static_cast<std::int64_t>(name.size()) + 1);
    bytes.append(name).push_back('\0');
    bytes += integer(codeCount);
    for (const std::int32_t code : codes)
        bytes += integer(code);
    bytes += integer(mol.atomCount) + integer(mol.bondCount) + integer(mol.transitionCount);
    for (const Atom &atom : atomsOf(mol))
        bytes += real(atom.x) + real(atom.y) + real(atom.z) + integer(atom.element);
    for (const Bond *bond : bondsOf(mol))
        bytes += integer(bond->atom1) + integer(bond->atom2) + integer(bond->type);
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(mol))
        bytes += integer(breakA) + integer(breakB) + integer(formA) + integer(formB);
    return bytes;
}

/// Half of a record are atoms and bonds; the name, which begins with the key, fills it up.
struct Record {
    std::string name;
    OwnedMol mol{createMol()};

    explicit Record(const Key &key) {
        Dice dice(std::uint64_t{key.serial} << 32 | key.length);
        const std::uint32_t atoms = 2 + (key.length - shortestRecord) / 40;
        for (std::uint32_t i = 0; i < atoms; ++i) {
            addAtom(mol.get(), dice.below(1 << 16) / 256.0, dice.below(9), -1.0 * dice.below(99),
                    1 + static_cast<int>(dice.below(100)));
            addBond(mol.get(), static_cast<int>(i), static_cast<int>(dice.below(atoms)), 1);
        }
        C_setTransition(mol.get(), 0, 0, -1, 1, 0);
        name = std::to_string(key.serial) + '.' + std::to_string(key.length) + '.';
        name.append(key.length - encoded(name, *mol).size(), 'n');
    }
};

/// The key that a name begins with; a name that is no whole record's gives one that is none's.
Key keyOf(const char *name) {
    Key key;
    if (std::sscanf(name, "%" SCNu32 ".%" SCNu32 ".", &key.serial, &key.length) != 2) return {};
    return key.length < shortestRecord || key.length > longestRecord ? Key{} : key;
}

// ---- the process that is killed

struct Operation {
    enum Kind { insert, remove } kind = insert;
    Key key;
};

struct Report {
    Operation operation;
    bool done = false; ///< or about to begin
};

std::vector<Key> listed(const char *path) {
    char **names = nullptr;
    std::vector<Key> keys;
    const int count = listDB(path, &names);
    for (char *name : countedSpan(names, count)) {
        keys.push_back(keyOf(name));
        std::free(name);
    }
    std::free(static_cast<void *>(names));
    return keys;
}

/// Every fourth new record is as long as it takes for the next block's header to lie across a
/// multiple of 4096, where the stream's buffer ends and a header needs two writes.
Operation chosenOperation(const char *path, std::uint32_t serial, Dice &dice) {
    const std::vector<Key> keys = listed(path);
    const auto count = static_cast<std::uint32_t>(keys.size());
    if (count > 0 && dice.below(10) < (count > 12 ? 6u : 3u))
        return {Operation::remove, keys[dice.below(count)]};
    std::uint32_t length = dice.scattered(shortestRecord, longestRecord);
    if (dice.below(4) == 0) {
        const auto end = static_cast<std::uint32_t>(fileSize(path)) + 5 + length;
        length += (4096 - end % 4096) + 4096 - dice.below(6);
    }
    return {Operation::insert, {serial, std::min(length, longestRecord)}};
}

bool perform(const char *path, const Operation &operation) {
    if (operation.kind == Operation::insert) {
        const Record record(operation.key);
        return insertDB(path, strdup(record.name.c_str()), codes, record.mol.get()) == 1;
    }
    const std::vector<Key> keys = listed(path);
    const auto place = std::ranges::find(keys, operation.key);
    return place != keys.end() && removeDB(path, static_cast<int>(place - keys.begin())) == 1;
}

/// Perform an operation, telling of it before and after. The process ends if it is refused.
void performAndReport(const char *path, const Operation &operation, int pipe) {
    Report report{operation};
    if (write(pipe, &report, sizeof report) != sizeof report) _exit(1);
    if (!perform(path, operation)) _exit(1);
    report.done = true;
    if (write(pipe, &report, sizeof report) != sizeof report) _exit(1);
}

[[noreturn]] void changeUntilKilled(const char *path, std::uint32_t serial, Dice dice, int pipe) {
    for (;; ++serial)
        performAndReport(path, chosenOperation(path, serial, dice), pipe);
}

// ---- what it leaves

struct Faults {
    int lost = 0, revived = 0, broken = 0;
    bool operator==(const Faults &) const = default;
};

Faults worseOf(const Faults &a, const Faults &b) {
    return {std::max(a.lost, b.lost), std::max(a.revived, b.revived), std::max(a.broken, b.broken)};
}

struct Tally {
    int kills = 0, withinOperations = 0, survived = 0, checked = 0, refused = 0;
    Faults faults;

    void add(const Faults &more) {
        survived += more == Faults{};
        faults.lost += more.lost;
        faults.revived += more.revived;
        faults.broken += more.broken;
    }
    bool good() const { return refused == 0 && faults == Faults{}; }
    void print(const char *where) const {
        std::printf("%d kills %s, %d of them within an operation: %d survived; %d records checked, "
                    "%d lost, %d removed ones back, %d half-written, %d operations refused\n",
                    kills, where, withinOperations, survived, checked, faults.lost, faults.revived,
                    faults.broken, refused);
    }
};

using Records = std::map<std::uint32_t, std::uint32_t>; ///< length by serial

/// Whole records that a look at the file found; whatever else shows as a record is broken.
struct Contents {
    Records whole;
    int broken = 0;

    void add(const Key &key, bool intact) {
        if (!intact || key == Key{} || !whole.emplace(key.serial, key.length).second) ++broken;
    }
};

std::string bytesOf(const char *path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Contents byPlainWalk(const std::string &file) {
    constexpr std::size_t header = 5, nameOffset = 2;
    Contents contents;
    for (std::size_t at = 0; at + header <= file.size();) {
        std::uint32_t size = 0;
        for (std::size_t i = 4; i-- > 0;)
            size = size << 8 | static_cast<unsigned char>(file[at + i]);
        const std::string data = file.substr(at + header, size);
        if (file[at + 4] != 0) {
            const Key key = data.size() > nameOffset ? keyOf(data.c_str() + nameOffset) : Key{};
            bool intact = file[at + 4] == 1 && !(key == Key{}) && size >= key.length;
            if (intact) {
                const Record expected(key);
                intact = data.substr(0, key.length) == encoded(expected.name, *expected.mol);
            }
            contents.add(key, intact);
        }
        at += header + size;
    }
    return contents;
}

Contents byLibrary(const char *path) {
    Contents contents;
    std::FILE *stream = std::fopen(path, "rb");
    if (!stream) giveUp(path);
    Molecule *read = nullptr;
    while (const OwnedBlock<char> name{readDB(stream, nullptr, nullptr, &read)}) {
        const OwnedMol mol(read);
        const Key key = keyOf(name.get());
        bool intact = !(key == Key{});
        if (intact) {
            const Record expected(key);
            intact = encoded(name.get(), *mol) == encoded(expected.name, *expected.mol);
        }
        contents.add(key, intact);
    }
    std::fclose(stream);
    return contents;
}

/// What the reports say that a database holds.
struct Ledger {
    Records stored;
    std::optional<Operation> underWay;

    void enter(const Report &report) {
        const auto &[kind, key] = report.operation;
        underWay = report.operation;
        if (!report.done) return;
        underWay.reset();
        if (kind == Operation::insert)
            stored[key.serial] = key.length;
        else
            stored.erase(key.serial);
    }
    bool leavesOpen(std::uint32_t serial) const {
        return underWay && underWay->key.serial == serial;
    }
};

Faults compare(const Ledger &ledger, const Contents &found) {
    Faults faults;
    faults.broken = found.broken;
    for (const auto &[serial, length] : ledger.stored) {
        const auto place = found.whole.find(serial);
        const bool there = place != found.whole.end() && place->second == length;
        if (!there && !ledger.leavesOpen(serial)) ++faults.lost;
    }
    for (const auto &[serial, length] : found.whole)
        if (!ledger.stored.contains(serial) && !ledger.leavesOpen(serial)) ++faults.revived;
    return faults;
}

/// Both looks at the file have to agree with the reports, and with each other on the operation
/// that was under way. Settles it by what they found; false if there was a fault.
bool check(const char *path, Ledger &ledger, Tally &tally) {
    const Contents walked = byPlainWalk(bytesOf(path)), read = byLibrary(path);
    Faults faults = worseOf(compare(ledger, walked), compare(ledger, read));
    if (walked.whole != read.whole || listed(path).size() != read.whole.size())
        faults.broken = std::max(faults.broken, 1);
    tally.checked += static_cast<int>(ledger.stored.size());
    tally.add(faults);
    ledger.stored = read.whole;
    ledger.underWay.reset();
    return faults == Faults{};
}

// ---- killing

class Database {
public:
    explicit Database(const std::string &path) : path_(path) { empty(); }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;
    ~Database() { unlink(path()); }

    const char *path() const { return path_.c_str(); }
    void fill(const std::string &bytes) const {
        std::ofstream(path_, std::ios::binary | std::ios::trunc) << bytes;
    }
    void empty() {
        fill("");
        ledger = {};
    }
    Ledger ledger;

private:
    std::string path_;
};

/// A process at work, and the reports that it sends.
class Victim {
public:
    /// The work is handed the pipe's end for reports.
    template <class Work> explicit Victim(Work work) {
        int ends[2];
        if (pipe(ends) != 0) giveUp("pipe");
        std::fflush(stdout);
        process_ = fork();
        if (process_ < 0) giveUp("fork");
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(ends[0]);
            work(ends[1]);
            for (;;) // also tells a tracer that there are no more writes
                std::raise(SIGSTOP);
        }
        close(ends[1]);
        reports_ = ends[0];
    }
    Victim(const Victim &) = delete;
    Victim &operator=(const Victim &) = delete;
    ~Victim() { close(reports_); }

    /// Wait for a traced process to stop; false if it has ended.
    bool stops() { return waitpid(process_, &status_, 0) == process_ && WIFSTOPPED(status_); }

    /// Let a process that stopped for its tracer run to its write of that number.
    void runToWrite(int number) {
        ptrace(PTRACE_SETOPTIONS, process_, nullptr, PTRACE_O_TRACESECCOMP);
        for (int i = 0; i < number; ++i)
            if (ptrace(PTRACE_CONT, process_, nullptr, nullptr) != 0 || !stops()) return;
    }

    /// Kill it and enter its reports; the number of operations that it completed.
    int kill(Ledger &ledger, Tally &tally) {
        ::kill(process_, SIGKILL);
        while (!WIFSIGNALED(status_) && !WIFEXITED(status_))
            if (waitpid(process_, &status_, 0) != process_) giveUp("waitpid");
        if (WTERMSIG(status_) != SIGKILL) ++tally.refused;
        int completed = 0;
        Report report;
        while (read(reports_, &report, sizeof report) == sizeof report) {
            ledger.enter(report);
            completed += report.done;
        }
        ++tally.kills;
        tally.withinOperations += ledger.underWay.has_value();
        return completed;
    }

private:
    static constexpr int running = 0x7F; ///< what waitpid() says of a stopped process
    pid_t process_ = -1;
    int reports_ = -1;
    int status_ = running;
};

/// Ask to be stopped before each write, and stop before anything else is done.
void stopForTracer() {
    constexpr int refused = 3;
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_write, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(steps), steps};
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(refused);
    std::raise(SIGSTOP);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) _exit(refused);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) _exit(refused);
}

constexpr std::uint32_t serialsPerProcess = 100000;
constexpr std::int32_t largestFile = 1000000;

void killAtRandomMoments(Database &database, int kills, Dice &dice, Tally &tally) {
    constexpr std::uint32_t longestRun = 4000; // microseconds
    for (int i = 0; i < kills; ++i) {
        const std::uint32_t serial = static_cast<std::uint32_t>(i) * serialsPerProcess;
        const Dice own(dice.below(~0u));
        Victim victim([&](int pipe) { changeUntilKilled(database.path(), serial, own, pipe); });
        usleep(dice.below(longestRun));
        victim.kill(database.ledger, tally);
        const bool good = check(database.path(), database.ledger, tally);
        if (!good || fileSize(database.path()) > largestFile) database.empty();
    }
}

/// Some records and some free blocks.
void prepare(Database &database, Dice &dice) {
    database.empty();
    const std::uint32_t operations = 4 + dice.below(16);
    for (std::uint32_t serial = 0; serial < operations; ++serial) {
        const Operation operation = chosenOperation(database.path(), serial, dice);
        if (!perform(database.path(), operation)) giveUp("preparing a database");
        database.ledger.enter({operation, true});
    }
}

/// Kill an operation before each of its writes in turn, always on the same file.
void killAtWrites(Database &database, int kills, Dice &dice, Tally &tally) {
    while (tally.kills < kills) {
        prepare(database, dice);
        const std::string file = bytesOf(database.path());
        const Ledger before = database.ledger;
        const Operation operation = chosenOperation(database.path(), serialsPerProcess, dice);
        bool complete = false; // the first write is the report that it begins
        for (int write = 2; !complete && tally.kills < kills; ++write) {
            database.fill(file);
            database.ledger = before;
            Victim victim([&](int pipe) {
                stopForTracer();
                performAndReport(database.path(), operation, pipe);
            });
            if (!victim.stops()) {
                std::printf("processes cannot be traced here: no kills at writes\n");
                return;
            }
            victim.runToWrite(write);
            complete = victim.kill(database.ledger, tally) > 0;
            check(database.path(), database.ledger, tally);
        }
    }
}

/// The value of an option, or what it is if it is not given.
unsigned option(int argc, char **argv, const char *name, unsigned otherwise) {
    for (int i = 1; i + 1 < argc; i += 2)
        if (std::strcmp(argv[i], name) == 0)
            return static_cast<unsigned>(std::strtoul(argv[i + 1], nullptr, 10));
    return otherwise;
}

} // namespace

int main(int argc, char **argv) {
    const int kills = static_cast<int>(option(argc, argv, "--kills", 200));
    Dice dice(option(argc, argv, "--seed", 1));
    const char *folder = std::getenv("TMPDIR");
    std::string path = std::string(folder ? folder : "/tmp") + "/saddlefit-killXXXXXX";
    const int file = mkstemp(path.data());
    if (file < 0) giveUp("making a database");
    close(file);

    Database database(path);
    Tally moments, writes;
    killAtRandomMoments(database, kills / 2, dice, moments);
    killAtWrites(database, kills - kills / 2, dice, writes);
    moments.print("at random moments");
    writes.print("at writes");
    return moments.good() && writes.good() ? 0 : 1;
}
