/// Kills processes that are changing a database and checks what they leave: every record that was
/// reported as stored is read back bit by bit, every removed one is gone, and the one operation
/// under way has happened or has not.
///
/// One operation after another is killed before its 1st, 2nd, 3rd, ... write to a file. Nothing but
/// writing changes the file, so these are all the states that a kill between two system calls can
/// leave, however short the moment.

#include "saddlefit/database.h"
#include "saddlefit/host.h"
#include "saddlefit/store.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"
#include "tests/record_bytes.hpp"

#include <algorithm>
#include <bit>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace saddlefit;
using namespace saddlefit::test;

[[noreturn]] void giveUp(const char *what) {
    std::perror(what);
    std::exit(2);
}

using Dice = std::mt19937_64;

unsigned below(unsigned n, Dice &dice) {
    return static_cast<unsigned>(dice() % n);
}

// ---- records, each made out of its key: a serial number and a length in bytes

using Key = std::pair<unsigned, unsigned>;

constexpr unsigned shortestRecord = 100, longestRecord = 50000;
constexpr std::int32_t codes[] = {6, 8, 1, 8, 0};

/// The bytes of a record by the table of the file's fields, written without the library.
std::string encoded(const std::string &name, const Molecule &mol) {
    std::string bytes = integer(name.size() + 1, 2) + name + '\0' +
                        shorts({std::size(codes), codes[0], codes[1], codes[2], codes[3], codes[4],
                                mol.atomCount, mol.bondCount, mol.transitionCount});
    for (const Atom &atom : atomsOf(mol)) {
        for (const double place : {atom.x, atom.y, atom.z})
            bytes += integer(std::bit_cast<std::uint32_t>(static_cast<float>(place)), 4);
        bytes += shorts({atom.element});
    }
    for (const Bond *bond : bondsOf(mol))
        bytes += shorts({bond->atom1, bond->atom2, bond->type});
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(mol))
        bytes += shorts({breakA, breakB, formA, formB});
    return bytes;
}

/// Half of a record are atoms and bonds; the name, which begins with the key, fills it up.
struct Record {
    std::string name;
    OwnedMol mol{createMol()};

    explicit Record(const Key &key) {
        const auto &[serial, length] = key;
        Dice dice(std::uint64_t{serial} << 32 | length);
        const unsigned atoms = 2 + (length - shortestRecord) / 40;
        for (unsigned i = 0; i < atoms; ++i) {
            addAtom(mol.get(), below(1 << 16, dice) / 256.0, below(9, dice), -1.0 * below(99, dice),
                    1 + static_cast<int>(below(100, dice)));
            addBond(mol.get(), static_cast<int>(i), static_cast<int>(below(atoms, dice)), 1);
        }
        C_setTransition(mol.get(), 0, 0, -1, 1, 0);
        name = std::to_string(serial) + '.' + std::to_string(length) + '.';
        name.append(length - encoded(name, *mol).size(), 'n');
    }
    std::string bytes() const { return encoded(name, *mol); }
};

/// The key that a name begins with; none if no whole record has such a name.
std::optional<Key> keyOf(const char *name) {
    Key key;
    const bool read = std::sscanf(name, "%u.%u.", &key.first, &key.second) == 2;
    if (!read || key.second < shortestRecord || key.second > longestRecord) return {};
    return key;
}

// ---- the process that is killed

struct Report {
    Key key;
    bool inserts = false, done = false; ///< or about to begin
};

std::vector<Key> listed(const char *path) {
    char **names = nullptr;
    std::vector<Key> keys;
    const int count = listDB(path, &names);
    for (char *name : countedSpan(names, count)) {
        keys.push_back(keyOf(name).value_or(Key{}));
        std::free(name);
    }
    std::free(static_cast<void *>(names));
    return keys;
}

/// Every fourth new record is as long as it takes for the next block's header to lie across a
/// multiple of 4096, where the stream's buffer ends and a header needs two writes. Of the others,
/// small ones are as likely as large ones, by order of magnitude.
Report chosenOperation(const char *path, unsigned serial, Dice &dice) {
    const std::vector<Key> keys = listed(path);
    const auto count = static_cast<unsigned>(keys.size());
    if (count > 0 && below(10, dice) < (count > 12 ? 6 : 3))
        return {keys[below(count, dice)], false};
    unsigned range = shortestRecord;
    while (range < longestRecord && below(6, dice))
        range *= 2;
    unsigned length = shortestRecord + below(range, dice);
    if (below(4, dice) == 0) {
        const unsigned end = static_cast<unsigned>(fileSize(path)) + 5 + length;
        length += (4096 - end % 4096) + 4096 - below(6, dice);
    }
    return {{serial, std::min(length, longestRecord)}, true};
}

bool insertByWriter(const char *path, const std::string &record) {
    StoreWriter *writer = openStoreWriter(path);
    const bool done =
        insertPacked(writer, record.data(), static_cast<std::uint32_t>(record.size())) != 0;
    return closeStoreWriter(writer) == 1 && done;
}

/// Every other record goes in by the writer for many.
bool perform(const char *path, const Report &operation) {
    if (operation.inserts) {
        const Record record(operation.key);
        if (operation.key.first % 2 == 1) return insertByWriter(path, record.bytes());
        return insertDB(path, strdup(record.name.c_str()), codes, record.mol.get()) == 1;
    }
    const std::vector<Key> keys = listed(path);
    const auto place = std::ranges::find(keys, operation.key);
    return place != keys.end() && removeDB(path, static_cast<int>(place - keys.begin())) == 1;
}

/// Perform an operation, telling of it before and after. The process ends if it is refused.
void performAndReport(const char *path, Report operation, int pipe) {
    for (const bool done : {false, true}) {
        operation.done = done;
        if (done && !perform(path, operation)) _exit(1);
        if (write(pipe, &operation, sizeof operation) != sizeof operation) _exit(1);
    }
}

// ---- what it leaves

struct Tally {
    int kills = 0, withinOperations = 0, survived = 0, checked = 0, refused = 0;
    int lost = 0, revived = 0, broken = 0;

    bool good() const { return refused + lost + revived + broken == 0; }
    void print() const {
        std::printf("%d kills at writes, %d of them within an operation: %d survived; %d records "
                    "checked, %d lost, %d removed ones back, %d half-written, %d operations "
                    "refused\n",
                    kills, withinOperations, survived, checked, lost, revived, broken, refused);
    }
};

/// Whole records that a look at the file found; whatever else shows as a record is broken.
struct Contents {
    std::set<Key> whole;
    int broken = 0;

    /// `bytes` makes what was found of the record of that name.
    template <class Bytes> void add(const char *name, Bytes bytes) {
        const std::optional<Key> key = keyOf(name);
        if (!key || bytes(*key) != Record(*key).bytes() || !whole.insert(*key).second) ++broken;
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
        std::uint32_t size;
        std::memcpy(&size, &file[at], sizeof size);
        const std::string data = file.substr(at + header, size);
        if (file[at + 4] == 1)
            contents.add(data.size() > nameOffset ? data.c_str() + nameOffset : "",
                         [&](const Key &key) { return data.substr(0, key.second); });
        else
            contents.broken += file[at + 4] != 0;
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
        contents.add(name.get(), [&](const Key &) { return encoded(name.get(), *mol); });
    }
    std::fclose(stream);
    return contents;
}

/// A database, and what the reports say that it holds.
struct Database {
    const std::string path;
    std::set<Key> stored = {};
    std::optional<Key> underWay = {};

    void fill(const std::string &bytes, const std::set<Key> &keys) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        stored = keys;
        underWay.reset();
    }
    void enter(const Report &report) {
        underWay = report.key;
        if (!report.done) return;
        underWay.reset();
        if (report.inserts)
            stored.insert(report.key);
        else
            stored.erase(report.key);
    }
    int missingFrom(const std::set<Key> &others, const std::set<Key> &keys) const {
        return static_cast<int>(std::ranges::count_if(
            keys, [&](const Key &key) { return key != underWay && !others.contains(key); }));
    }
    bool check(Tally &tally);
};

/// Both looks at the file have to agree with the reports, and with each other on the operation
/// that was under way. Settles it by what they found; false if there was a fault.
bool Database::check(Tally &tally) {
    const Contents walked = byPlainWalk(bytesOf(path.c_str())), read = byLibrary(path.c_str());
    const bool agree =
        walked.whole == read.whole && listed(path.c_str()).size() == read.whole.size();
    Tally faults;
    for (const Contents *found : {&walked, &read}) {
        faults.lost = std::max(faults.lost, missingFrom(found->whole, stored));
        faults.revived = std::max(faults.revived, missingFrom(stored, found->whole));
        faults.broken = std::max({faults.broken, found->broken, agree ? 0 : 1});
    }
    tally.checked += static_cast<int>(stored.size());
    tally.survived += faults.good();
    tally.lost += faults.lost;
    tally.revived += faults.revived;
    tally.broken += faults.broken;
    stored = read.whole;
    underWay.reset();
    return faults.good();
}

// ---- killing

/// A process at work, the end of the pipe that its reports come out of, and how it was last seen.
struct Victim {
    pid_t process;
    int reports;
    int status;
};

/// The work is handed the pipe's end for reports.
template <class Work> Victim start(Work work) {
    int ends[2];
    if (pipe(ends) != 0) giveUp("pipe");
    std::fflush(stdout);
    const pid_t process = fork();
    if (process < 0) giveUp("fork");
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        work(ends[1]);
        for (;;) // also tells a tracer that there are no more writes
            std::raise(SIGSTOP);
    }
    close(ends[1]);
    return {process, ends[0], W_STOPCODE(0)};
}

/// Wait for a traced process to stop; false if it has ended.
bool stops(Victim &victim) {
    return waitpid(victim.process, &victim.status, 0) == victim.process &&
           WIFSTOPPED(victim.status);
}

/// Let a process that stopped for its tracer run to its write of that number.
void runToWrite(int number, Victim &victim) {
    ptrace(PTRACE_SETOPTIONS, victim.process, nullptr, PTRACE_O_TRACESECCOMP);
    while (number-- > 0)
        if (ptrace(PTRACE_CONT, victim.process, nullptr, nullptr) != 0 || !stops(victim)) return;
}

/// Kill it and enter its reports; whether it completed an operation.
bool kill(Victim &victim, Database &database, Tally &tally) {
    ::kill(victim.process, SIGKILL);
    while (WIFSTOPPED(victim.status))
        if (waitpid(victim.process, &victim.status, 0) != victim.process) giveUp("waitpid");
    if (WTERMSIG(victim.status) != SIGKILL) ++tally.refused;
    bool completed = false;
    for (Report report; read(victim.reports, &report, sizeof report) == sizeof report;) {
        database.enter(report);
        completed |= report.done;
    }
    close(victim.reports);
    ++tally.kills;
    tally.withinOperations += database.underWay.has_value();
    return completed;
}

/// Ask to be stopped before each write, and stop before anything else is done.
void stopForTracer() {
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_write, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_pwrite64, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(steps), steps};
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    std::raise(SIGSTOP);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) _exit(1);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) _exit(1);
}

/// Kill an operation before each of its writes in turn, always on the same file, which has some
/// records and some free blocks.
void killAtWrites(Database &database, int kills, Dice &dice, Tally &tally) {
    const char *path = database.path.c_str();
    while (tally.kills < kills) {
        database.fill("", {});
        unsigned serial = 0;
        for (const unsigned operations = 4 + below(16, dice); serial < operations; ++serial) {
            Report operation = chosenOperation(path, serial, dice);
            if (!perform(path, operation)) giveUp("preparing a database");
            operation.done = true;
            database.enter(operation);
        }
        const std::string file = bytesOf(path);
        const std::set<Key> stored = database.stored;
        const Report operation = chosenOperation(path, serial, dice);
        bool complete = false; // the first write is the report that it begins
        for (int write = 2; !complete && tally.kills < kills; ++write) {
            database.fill(file, stored);
            Victim victim = start([&](int pipe) {
                stopForTracer();
                performAndReport(path, operation, pipe);
            });
            if (!stops(victim)) {
                std::printf("processes cannot be traced here: no kills at writes\n");
                return;
            }
            runToWrite(write, victim);
            complete = kill(victim, database, tally);
            database.check(tally);
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

    Database database{path};
    Tally tally;
    killAtWrites(database, kills, dice, tally);
    unlink(path.c_str());
    tally.print();
    return tally.good() ? 0 : 1;
}
