/// Simulates crashes of the machine, and kills: what the operations on a database write and sync is
/// recorded, and every state that a disk, or a process that is killed between two calls, could
/// leave is looked at with the host's own means.
///
/// The records that were stored before have to be there, whole. Nothing that a search finds may be
/// half of one record or of two; the library's own insertDB(), which does not wait for the disk,
/// promises that for killed processes only, and here is counted how often.

#include "saddlefit/database.h"

#include "host/search/open_search.hpp"
#include "host/store/packing.hpp"
#include "host/upkeep/merging.hpp"
#include "host/upkeep/rewriting.hpp"
#include "tests/disk_model.hpp"

#include <cstdio>
#include <cstring>
#include <functional>
#include <unordered_set>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit::host;
using namespace saddlefit::test;

using Digests = std::multiset<std::string>;

std::string folder, path;
std::mt19937 dice;

// ---- records ------------------------------------------------------------------------------------

/// A zigzag chain of any length, two bonds of which are exchanged.
std::string anyRecord() {
    static int serial = 0;
    const int count = 4 + static_cast<int>(dice() % (dice() % 3 == 0 ? 900 : 60));
    std::vector<StructureAtom> atoms(static_cast<std::size_t>(count));
    std::vector<StructureBond> bonds;
    for (int i = 0; i < count; ++i) {
        auto &atom = atoms[static_cast<std::size_t>(i)];
        atom.element = dice() % 2 ? 6 : 1;
        atom.position = {1.3 * i, 0.8 * (i % 2), 0.001 * static_cast<int>(dice() % 1000)};
        if (i > 0) bonds.push_back({i - 1, i, 1});
    }
    const auto molecule = hostMolecule(atoms, bonds, {{0, 1, 1, 3}});
    return recordBytes(*molecule, "record " + std::to_string(serial++)).value();
}

SideRecord noteOn(const std::string &record) {
    SideRecord note;
    note.digest = identityOf(record).digest;
    note.name = identityOf(record).name;
    note.level = "none";
    return note;
}

void place(const std::string &database, const std::vector<std::string> &records) {
    DatabaseWriter writer(database);
    for (const auto &record : records) {
        writer.place(record);
        writer.note(noteOn(record));
    }
    writer.commit();
}

std::vector<std::string> someRecords(int most) {
    std::vector<std::string> records(1 + dice() % static_cast<unsigned>(most));
    for (auto &record : records)
        record = anyRecord();
    return records;
}

Digests digestsIn(const std::string &database) {
    Digests digests;
    for (const auto &one : identitiesIn(database, surveyOf(*openStoreAt(database))))
        digests.insert(one.digest);
    return digests;
}

// ---- operations ---------------------------------------------------------------------------------

int insertInto(const std::string &record) {
    const auto read = std::get<saddlefit::host::StoredRecord>(readRecord(record));
    const auto molecule = hostMolecule(read.atoms, read.bonds, read.transitions);
    return insertDB(path.c_str(), strdup(read.name.c_str()), read.code.data(), molecule.get());
}

struct Operation {
    const char *name;
    bool isDurable; ///< once it has answered, no crash takes it back
    std::function<void()> perform;
};

const std::vector<Operation> operations{
    {"insertDB", false, [] { insertInto(anyRecord()); }},
    {"removeDB", false, [] { removeDB(path.c_str(), 1); }},
    {"removeDB, insertDB", false,
     [] {
         removeDB(path.c_str(), 1);
         insertInto(anyRecord());
     }},
    {"db add", true, [] { place(path, someRecords(4)); }},
    {"db remove", true,
     [] {
         removeFrom(path, {0, 2});
     }},
    {"db compact", true, [] { compact(path); }},
    {"db rename", true, [] { renameRecord(path, 1, "another name"); }},
    {"db merge", true, [] {
         Merging merging(path);
         merging.take(folder + "/other");
         merging.commit();
     }}};

// ---- what a crash leaves ------------------------------------------------------------------------

struct Tally {
    std::size_t moments = 0, states = 0, records = 0, lost = 0, unreported = 0, half = 0;

    void add(const Tally &other) {
        moments += other.moments;
        states += other.states;
        records += other.records;
        lost += other.lost;
        unreported += other.unreported;
        half += other.half;
    }
    void print(const std::string &name) const {
        std::printf("| %s | %zu | %zu | %zu | %zu | %zu | %zu |\n", name.c_str(), moments, states,
                    records, lost, unreported, half);
    }
};

/// What is promised to be there, and what may be.
struct Promise {
    Digests stored, known;
};

bool isReported(const Survey &survey, const std::vector<RecordIdentity> &records) {
    const auto fit = SideLines(path).fitTo(records);
    return survey.damage || !fit.orphans.empty() ||
           std::find(fit.changed.begin(), fit.changed.end(), true) != fit.changed.end();
}

std::size_t halfFound(const Digests &known) {
    std::size_t half = 0;
    forEachStored(*openReactions(path), nullptr, [&](HostMolecule structure, int) {
        const auto bytes = recordBytes(*structure, nameOf(structure.get()));
        half += !bytes || !known.contains(identityOf(*bytes).digest);
    });
    return half;
}

void check(const Promise &promise, Tally &tally) {
    const auto survey = surveyOf(*openStoreAt(path));
    const auto records = identitiesIn(path, survey);
    Digests found;
    for (const auto &record : records)
        found.insert(record.digest);
    std::size_t lost = 0;
    for (const auto &digest : promise.stored)
        lost += !found.contains(digest);
    ++tally.states;
    tally.records += promise.stored.size();
    tally.lost += lost;
    if (lost > 0 && !isReported(survey, records)) tally.unreported += lost;
    tally.half += halfFound(promise.known);
}

struct Trace {
    Folder before;
    std::vector<Change> changes;
    Digests atFirst, inTheEnd;
};

/// A database with free blocks, and another one, both on the disk.
void prepare() {
    putInto(folder, {});
    place(path, someRecords(6));
    place(path, {anyRecord(), anyRecord(), anyRecord()});
    removeFrom(path, {1});
    place(folder + "/other", someRecords(3));
}

Trace traceOf(const Operation &operation) {
    prepare();
    Trace trace{takenFrom(folder), {}, digestsIn(path), {}};
    {
        Recorder recorder(folder, static_cast<int>(trace.before.size()));
        int number = 0;
        for (const auto &[name, bytes] : trace.before)
            recorder.know(name, number++);
        operation.perform();
        trace.changes = std::move(recorder.changes);
    }
    trace.inTheEnd = digestsIn(path);
    return trace;
}

/// Records that the operation takes out are promised no more once it has begun, and those that it
/// brings once it has answered.
Promise promiseAt(const Trace &trace, bool hasAnswered) {
    Promise promise;
    promise.known = trace.atFirst;
    promise.known.insert(trace.inTheEnd.begin(), trace.inTheEnd.end());
    if (hasAnswered) {
        promise.stored = trace.inTheEnd;
        return promise;
    }
    std::set_intersection(trace.atFirst.begin(), trace.atFirst.end(), trace.inTheEnd.begin(),
                          trace.inTheEnd.end(),
                          std::inserter(promise.stored, promise.stored.end()));
    return promise;
}

Tally crashesIn(const Trace &trace, bool isDurable) {
    constexpr std::size_t statesAtOnce = 24;
    std::unordered_set<std::string> seen;
    Tally tally;
    for (const std::size_t pageSize : {512U, 4096U}) {
        Disk disk(trace.before, pageSize);
        for (std::size_t done = 0; done <= trace.changes.size(); ++done) {
            if (done > 0) disk.take(trace.changes[done - 1]);
            ++tally.moments;
            const bool hasAnswered = isDurable && done == trace.changes.size();
            const auto promise = promiseAt(trace, hasAnswered);
            disk.forEachState(statesAtOnce, dice, [&](const Folder &state) {
                std::string key(1, hasAnswered ? '1' : '0');
                for (const auto &[name, bytes] : state)
                    key += name + ':' + bytes + '\n';
                if (!seen.insert(key).second) return;
                putInto(folder, state);
                check(promise, tally);
            });
        }
    }
    return tally;
}

/// Only writing changes a file, so a kill leaves what was written up to then.
Tally killsIn(const Trace &trace) {
    Disk disk(trace.before, 4096);
    Tally tally;
    for (std::size_t done = 0; done <= trace.changes.size(); ++done) {
        if (done > 0) disk.take(trace.changes[done - 1]);
        ++tally.moments;
        putInto(folder, disk.asWritten());
        check(promiseAt(trace, done == trace.changes.size()), tally);
    }
    return tally;
}

std::size_t option(int argc, char **argv, const char *name, std::size_t otherwise) {
    for (int i = 1; i + 1 < argc; i += 2)
        if (std::strcmp(argv[i], name) == 0) return std::strtoul(argv[i + 1], nullptr, 10);
    return otherwise;
}

} // namespace

int main(int argc, char **argv) {
    const auto rounds = option(argc, argv, "--rounds", 16);
    dice.seed(static_cast<unsigned>(option(argc, argv, "--seed", 1)));
    const fs::path memory = "/dev/shm"; // where syncs cost nothing
    std::string pattern = fs::is_directory(memory) ? memory : fs::temp_directory_path();
    pattern += "/saddlefit-crash-XXXXXX";
    if (!mkdtemp(pattern.data())) return 2;
    folder = pattern;
    path = folder + "/a.db";

    std::puts("| operation | moments | states | records | lost | unreported | half found |\n"
              "| --- | --- | --- | --- | --- | --- | --- |");
    Tally all, durable, killed, withoutSyncs;
    for (const auto &operation : operations) {
        Tally tally;
        for (std::size_t round = 0; round < rounds; ++round) {
            auto trace = traceOf(operation);
            tally.add(crashesIn(trace, operation.isDurable));
            killed.add(killsIn(trace));
            if (!operation.isDurable || round > 0) continue;
            std::erase_if(trace.changes,
                          [](const Change &one) { return one.kind == Change::Kind::sync; });
            withoutSyncs.add(crashesIn(trace, true));
        }
        tally.print(operation.name);
        all.add(tally);
        if (operation.isDurable) durable.add(tally);
    }
    all.print("all");
    killed.print("all, killed");
    withoutSyncs.print("as if no file was synced"); // so that faults are seen to be found
    fs::remove_all(folder);
    std::fflush(stdout);
    const bool good =
        all.lost + durable.half + killed.lost + killed.half == 0 && withoutSyncs.lost > 0;
    _exit(good ? 0 : 1); // the sanitizers' last look needs calls that are watched
}
