/// Lets every system call fail once by which a command touches its files: a command that says it
/// has done its work has done all of it, one that fails says so, and every file that was there is
/// either as it was or as it was to become.

#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#define main saddlefitMain
#include "cli/main.cpp"
#undef main

#include "host/store/survey.hpp"
#include "host/structures/host_molecule.hpp"
#include "tests/folder.hpp"
#include "tests/system_calls.hpp"

#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/mman.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;
using namespace saddlefit::host;
using namespace saddlefit::test;

std::string base, work; ///< the first holds the second, and what commands print

// ---- failing ------------------------------------------------------------------------------------

enum class Fault { none, error, noRoom, half };

/// In memory that commands share with the processes that they fork.
struct Plan {
    std::atomic<long> left; ///< calls before the one that fails
    std::atomic<Fault> fault;
    std::atomic<bool> hasFailed;
    char where[200]; ///< number of the call and the file
};
Plan *plan = nullptr;

std::string fileOf(const SystemCall &call) {
    if (call.isOneOf({SYS_open, SYS_rename, SYS_unlink}))
        return reinterpret_cast<const char *>(call.arguments[0]);
    if (call.isOneOf({SYS_openat, SYS_renameat, SYS_renameat2, SYS_unlinkat}))
        return reinterpret_cast<const char *>(call.arguments[1]);
    return call.descriptor() == STDERR_FILENO ? "" : pathOf(call.descriptor());
}

std::optional<long> failed(const SystemCall &call, Fault fault) {
    const bool reads = call.isOneOf({SYS_read, SYS_pread64});
    const bool writes = call.isOneOf({SYS_write, SYS_pwrite64});
    if (fault == Fault::half) {
        if (!(reads || writes) || call.arguments[2] < 2) return std::nullopt;
        auto part = call;
        part.arguments[2] /= 2;
        return part.happen();
    }
    if (call.number == SYS_close) call.happen();
    return fault == Fault::noRoom && !reads ? -ENOSPC : -EIO;
}

std::optional<long> see(const SystemCall &call) {
    const auto file = fileOf(call);
    if (!file.starts_with(base) || plan->left-- != 0) return std::nullopt;
    std::snprintf(plan->where, sizeof plan->where, "%ld of %s", call.number, file.c_str());
    const auto answer = failed(call, plan->fault);
    plan->hasFailed = answer.has_value();
    return answer;
}

// ---- commands -----------------------------------------------------------------------------------

struct Command {
    std::string name;
    std::function<int()> run; ///< in a process of its own
    bool isLibrary = false;   ///< which prints nothing, and answers for its records only
};

int runProgram(const std::string &line) {
    std::vector<std::string> words{"saddlefit"};
    std::istringstream text(line);
    for (std::string word; text >> word;)
        words.push_back(word.starts_with('@') ? work + "/" + word.substr(1) : word);
    std::vector<char *> arguments;
    for (auto &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return saddlefitMain(static_cast<int>(words.size()), arguments.data());
}

Command program(const std::string &line) {
    return {line.substr(0, line.find(" @")), [line] { return runProgram(line); }};
}

/// What the library's own functions make of it; 0 if they have done their work.
int libraryCalls(const std::string &what) {
    const auto path = work + "/a.db";
    if (what == "removeDB") return removeDB(path.c_str(), 1) == 1 ? 0 : 1;
    const int code[] = {1, 6, 0};
    std::vector<StructureAtom> atoms(2);
    atoms[0].element = 6;
    atoms[1].element = 1;
    atoms[1].position = {1.2, 0, 0};
    const auto mol = hostMolecule(atoms, {{0, 1, 1}}, {{0, 1, -1, -1}});
    if (what == "insertDB") return insertDB(path.c_str(), strdup("new"), code, mol.get()) ? 0 : 1;
    char **names = nullptr;
    Molecule *match = nullptr;
    int *map = nullptr;
    for (int i = listDB(path.c_str(), &names); i-- > 0;)
        std::free(names[i]);
    std::free(names);
    mapDB(path.c_str(), mol.get(), &match, &map);
    return 0; // what cannot be read is the end of the file to them
}

Command library(const std::string &name) {
    return {name, [name] { return libraryCalls(name); }, true};
}

struct Outcome {
    int status = 0;
    long calls = 0;
    Folder files;
    std::string messages;
};

std::string bytesOf(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Outcome outcomeOf(const Command &command, const Folder &before, long failing = -1,
                  Fault fault = Fault::none) {
    putInto(work, before);
    plan->left = failing;
    plan->fault = fault;
    plan->hasFailed = false;
    const pid_t process = fork();
    if (process == 0) {
        for (const auto &[name, number] : {std::pair{"/out", 1}, std::pair{"/err", 2}})
            dup2(open((base + name).c_str(), O_CREAT | O_TRUNC | O_RDWR, 0666), number);
        alarm(60);
        if (!watchCalls(see)) _exit(99);
        const int status = command.run();
        std::fflush(nullptr);
        watchCalls(nullptr);
        _exit(status);
    }
    int status = 0;
    waitpid(process, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), failing - plan->left,
            takenFrom(work), bytesOf(base + "/err")};
}

// ---- judging ------------------------------------------------------------------------------------

bool isLeftover(const std::string &name) {
    return name.ends_with(".saddlefit-new") || name.ends_with(".part");
}

bool hasLeftovers(const Folder &files) {
    return std::any_of(files.begin(), files.end(),
                       [](const auto &file) { return isLeftover(file.first); });
}

std::vector<std::string> recordsIn(const std::string &bytes) {
    std::vector<std::string> records;
    for (const auto &record : surveyOf(bytes).records)
        records.push_back(bytes.substr(record.offset, record.bytes));
    std::sort(records.begin(), records.end());
    return records;
}

/// Whether the database has what stays, and nothing beyond what was there or was to come.
bool hasRecords(const std::string &now, const std::string &before, const std::string &after) {
    const auto found = recordsIn(now), old = recordsIn(before), wanted = recordsIn(after);
    std::vector<std::string> staying, all;
    std::set_intersection(old.begin(), old.end(), wanted.begin(), wanted.end(),
                          std::back_inserter(staying));
    std::set_union(old.begin(), old.end(), wanted.begin(), wanted.end(), std::back_inserter(all));
    return std::includes(found.begin(), found.end(), staying.begin(), staying.end()) &&
           std::includes(all.begin(), all.end(), found.begin(), found.end());
}

/// Whether what was there is as it was or was to become. Of several records or reactions those are
/// left out that a fault has hit: the outputs of `react` say so in their place.
bool isWhole(const Folder &files, const Folder &before, const Folder &after) {
    return std::all_of(before.begin(), before.end(), [&](const auto &old) {
        const auto &[name, bytes] = old;
        const auto now = files.find(name);
        if (now == files.end()) return false;
        if (name.ends_with(".db")) return hasRecords(now->second, bytes, after.at(name));
        if (name.ends_with(".sdf")) return now->second == bytes;
        return true; // lines beside a database mean nothing without their records
    });
}

/// What is wrong; nothing if nothing is.
std::string judged(const Command &command, const Folder &before, const Outcome &wanted,
                   const Outcome &found) {
    const bool isDone = found.status == wanted.status;
    if (!isDone && found.status != 1) return "ends with " + std::to_string(found.status);
    if (command.isLibrary)
        return hasRecords(found.files.at("a.db"), before.at("a.db"), wanted.files.at("a.db"))
                   ? ""
                   : "a record is lost or half";
    if (isDone && found.files != wanted.files) return "says that it is done, and is not";
    if (isDone) return "";
    if (!isWhole(found.files, before, wanted.files)) return "a file is neither old nor new";
    if (found.messages.size() < 20) return "says nothing";
    if (hasLeftovers(found.files) && hasLeftovers(outcomeOf(command, found.files).files))
        return "what is left over stays";
    return "";
}

struct Tally {
    long calls = 0, failed = 0, recovered = 0, faults = 0;
};

Tally failEach(const Command &command, const Folder &before, const std::vector<Fault> &faults,
               long stride) {
    const auto wanted = outcomeOf(command, before);
    Tally tally{wanted.calls, 0, 0, 0};
    if (wanted.status != 0) {
        std::printf("%s: status %d\n%s", command.name.c_str(), wanted.status,
                    wanted.messages.c_str());
        ++tally.faults;
    }
    for (long call = 0; call < wanted.calls; call += stride) {
        for (const Fault fault : faults) {
            const auto found = outcomeOf(command, before, call, fault);
            if (!plan->hasFailed) continue; // nothing else can be done by half
            ++tally.failed;
            tally.recovered += found.status == wanted.status;
            const auto wrong = judged(command, before, wanted, found);
            if (wrong.empty()) continue;
            ++tally.faults;
            std::printf("%s, call %s, fault %d: %s\n%s", command.name.c_str(), plan->where,
                        static_cast<int>(fault), wrong.c_str(), found.messages.c_str());
        }
    }
    return tally;
}

} // namespace

int main(int argc, char **) {
    base = "/dev/shm";
    if (!fs::is_directory(base)) base = fs::temp_directory_path();
    base += "/saddlefit-calls-XXXXXX";
    if (!mkdtemp(base.data())) return 2;
    work = base + "/work";
    fs::create_directory(work);
    plan = static_cast<Plan *>(
        mmap(nullptr, sizeof(Plan), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    Folder before;
    for (const char *set : {"parents", "queries"})
        for (const char *part : {"_reactants.sdf", "_products.sdf", "_ts.sdf"})
            before[std::string(set) + part] =
                bytesOf(SADDLEFIT_DATA "/" + (std::string(set) + part));
    const std::string parents = " @parents_reactants.sdf @parents_products.sdf @parents_ts.sdf ";
    const std::string queries = " @queries_reactants.sdf @queries_products.sdf ";
    before = outcomeOf(program("db add @a.db" + parents + "--force"), before).files;
    before = outcomeOf(program("db add @b.db" + queries + "@queries_ts.sdf --force"), before).files;
    before = outcomeOf(program("db remove @a.db 1"), before).files;

    const Command commands[] = {
        library("insertDB"),
        library("removeDB"),
        library("listDB, mapDB"),
        program("db add @a.db" + queries + "@queries_ts.sdf --force"),
        program("db remove @a.db 0 2"),
        program("db compact @a.db"),
        program("db salvage @a.db @c.db"),
        program("db merge @a.db @b.db"),
        program("db rename @a.db 0 another"),
        program("react" + queries +
                "--db @a.db --relax none -o @o.sdf --json @o.jsonl --resume -j 1"),
    };
    std::puts("| operation | calls | failures | done all the same | faults |\n"
              "| --- | --- | --- | --- | --- |");
    const long stride = argc > 1 ? 4 : 1; // sanitizers take long to fork
    const auto faults = argc > 1 ? std::vector{Fault::error}
                                 : std::vector{Fault::error, Fault::noRoom, Fault::half};
    long wrongOnes = 0;
    for (const auto &command : commands) {
        const auto [calls, failures, recovered, wrong] = failEach(command, before, faults, stride);
        wrongOnes += wrong;
        std::printf("| %s | %ld | %ld | %ld | %ld |\n", command.name.c_str(), calls, failures,
                    recovered, wrong);
        std::fflush(stdout);
    }
    fs::remove_all(base);
    return wrongOnes == 0 ? 0 : 1;
}
