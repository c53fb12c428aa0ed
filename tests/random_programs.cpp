/// Random programs over the exported interface, held against a model in memory: molecules that are
/// filled, reacted and stored in any order, a database that others write to between two calls,
/// processes that fork in the midst of it, and threads with objects of their own.
/// usage: random_programs [--steps N] [--seed N] [--threads N]

#include "saddlefit/saddlefit.h"
#include "saddlefit/search.h"

#include "tests/molecules.hpp"

#include <array>
#include <cmath>
#include <sys/wait.h>
#include <thread>

namespace {

using namespace saddlefit;
using namespace saddlefit::test;

void require(bool holds, const char *property) {
    if (holds) return;
    std::fprintf(stderr, "Violated: %s\n", property);
    std::abort();
}

// ---- the model ----------------------------------------------------------------------------------

struct AtomModel {
    int element = 0, frozen = 0;
    std::string label; ///< empty for none
    std::array<double, 3> place{};
    bool operator==(const AtomModel &) const = default;
};

struct MoleculeModel {
    std::string name;
    std::vector<AtomModel> atoms;
    std::vector<std::array<int, 3>> bonds;
    std::vector<std::array<int, 4>> constraints, transitions;
    bool operator==(const MoleculeModel &) const = default;
};

std::string orEmpty(const char *text) {
    return text ? text : "";
}

/// What the interface tells of a molecule.
MoleculeModel toldOf(Molecule *mol) {
    MoleculeModel told;
    const char *text = nullptr;
    require(C_getName(mol, &text) == 1, "a molecule tells its name");
    told.name = orEmpty(text);
    AtomModel atom;
    auto &[x, y, z] = atom.place;
    for (int i = 0; C_getAtom(mol, i, &atom.element, &atom.frozen, &text, &x, &y, &z); ++i) {
        atom.label = orEmpty(text);
        told.atoms.push_back(atom);
    }
    std::array<int, 4> four{};
    auto &[a, b, c, d] = four;
    for (int i = 0; C_getBond(mol, i, &a, &b, &c); ++i)
        told.bonds.push_back({a, b, c});
    double value = 0, parameter = 0;
    for (int i = 0; C_getConstraint(mol, i, &a, &b, &c, &d, &value, &parameter); ++i)
        told.constraints.push_back(four);
    for (int i = 0; C_getTransition(mol, i, &a, &b, &c, &d); ++i)
        told.transitions.push_back(four);
    return told;
}

template <class T> void put(std::vector<T> &list, int index, const T &value) {
    const auto place = static_cast<std::size_t>(index);
    if (place >= list.size()) list.resize(place + 1);
    list[place] = value;
}

/// A block of the file; what is stored in it, if anything.
struct BlockModel {
    std::size_t size = 0;
    bool isUsed = false;
    std::string name;
    Ints code;
};

// ---- one program --------------------------------------------------------------------------------

class Program {
public:
    Program(unsigned seed, bool forks) : dice_(seed), forks_(forks) {
        for (int i = 0; i < 3; ++i)
            create(i);
    }
    ~Program() {
        for (Molecule *mol : mols_)
            C_freeMolecule(mol);
        closeReactionDatabase(open_);
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    void step() {
        which_ = dice_.below(3);
        const int choice = dice_.below(100);
        if (choice < 30) return setAtom();
        if (choice < 45) return setBond();
        if (choice < 53) return setTransition();
        if (choice < 57) return setConstraint();
        if (choice < 62) return setName();
        if (choice < 68) return react();
        if (choice < 71) return create(which_);
        if (choice < 80) return insert();
        if (choice < 86) return remove();
        if (choice < 91) return changeFile();
        if (choice < 96) return ask();
        if (choice < 99) return readStereoCodes();
        if (forks_ && dice_.oneIn(20)) forkAndGoOn();
    }

private:
    Molecule *mol() { return mols_[static_cast<std::size_t>(which_)]; }
    MoleculeModel &model() { return models_[static_cast<std::size_t>(which_)]; }
    void requireAsTold() { require(toldOf(mol()) == model(), "a molecule is what was made of it"); }

    /// Mostly a small one, at times none that can be.
    int index() { return dice_.oneIn(40) ? dice_.oneOf({-1, INT_MIN, INT_MAX}) : dice_.below(7); }
    static bool isPossible(int index) { return index >= 0 && index < INT_MAX; }

    void create(int which) {
        which_ = which;
        C_freeMolecule(mol());
        const int atoms = dice_.below(5), bonds = dice_.below(4);
        mols_[static_cast<std::size_t>(which)] = C_createMolecule(atoms, bonds, 0, 0);
        model() = {};
        model().atoms.resize(static_cast<std::size_t>(atoms));
        model().bonds.resize(static_cast<std::size_t>(bonds));
        requireAsTold();
    }
    void setAtom() {
        const int place = index();
        AtomModel atom{dice_.oneOf({1, 1, 6, 6, 8, 9, 17, 35, 0}), dice_.below(2), "", {}};
        for (double &x : atom.place)
            x = dice_.below(2000) / 256.0 - 4;
        const char *label = nullptr; // at times the one that some molecule has itself
        const int other = dice_.below(6);
        if (dice_.oneIn(3))
            C_getAtom(mols_[static_cast<std::size_t>(dice_.below(3))], other, nullptr, nullptr,
                      &label, nullptr, nullptr, nullptr);
        else if (dice_.oneIn(2))
            label = "C1";
        atom.label = orEmpty(label);
        const auto [x, y, z] = atom.place;
        const int done = C_setAtom(mol(), place, atom.element, atom.frozen, label, x, y, z);
        require(done == (isPossible(place) ? 1 : 0), "an atom can be set where there can be one");
        if (done) put(model().atoms, place, atom);
        requireAsTold();
    }
    void setBond() {
        const int place = index(), a = dice_.below(6), b = dice_.below(6), type = dice_.below(4);
        const int done = C_setBond(mol(), place, a, b, type);
        require(done == (isPossible(place) ? 1 : 0), "a bond can be set where there can be one");
        if (done) put(model().bonds, place, {a, b, type});
        requireAsTold();
    }
    void setTransition() {
        const std::array<int, 4> four =
            dice_.oneIn(2) ? std::array{0, 1, -1, -1}
                           : std::array{dice_.below(5), dice_.below(5), dice_.below(5), -1};
        if (C_setTransition(mol(), 0, four[0], four[1], four[2], four[3]))
            put(model().transitions, 0, four);
        requireAsTold();
    }
    void setConstraint() {
        const int place = index(), a = dice_.below(5), b = dice_.below(5);
        if (C_setConstraint(mol(), place, a, b, -1, -1, 1.5, 0))
            put(model().constraints, place, {a, b, -1, -1});
        requireAsTold();
    }
    void setName() {
        const char *name = nullptr; // its own, another one's, or a new one
        C_getName(mols_[static_cast<std::size_t>(dice_.below(3))], &name);
        const std::string fresh = "n" + std::to_string(dice_.below(1000));
        if (!name || dice_.oneIn(2)) name = fresh.c_str();
        const std::string expected = name;
        require(C_setName(mol(), name) == 1, "a name can be set");
        model().name = expected;
        requireAsTold();
    }

    /// Starting may add bonds and constraints and move atoms, finishing may move and freeze them.
    void react() {
        const auto before = model();
        if (dice_.oneIn(2))
            C_finishReaction(mol());
        else
            C_startReaction(mol(), dice_.oneIn(9) ? nullptr : file_.path());
        auto after = toldOf(mol());
        require(after.bonds.size() >= before.bonds.size(), "a reaction removes no bond");
        require(after.atoms.size() == before.atoms.size(), "a reaction keeps the atoms");
        require(after.transitions == before.transitions, "a reaction keeps its transitions");
        for (std::size_t i = 0; i < before.atoms.size(); ++i)
            require(after.atoms[i].element == before.atoms[i].element &&
                        after.atoms[i].label == before.atoms[i].label,
                    "a reaction keeps elements and labels");
        model() = std::move(after);
    }
    void readStereoCodes() {
        Ints codes(model().atoms.size() + 1, 77);
        require(C_getRS(mol(), codes.data()) == 1 && codes.back() == 77, "a code for each atom");
    }

    // ---- the database

    std::size_t lengthOf(const MoleculeModel &one, const std::string &name, const Ints &code) {
        return 10 + name.size() + 1 + 2 * code.size() + 14 * one.atoms.size() +
               6 * one.bonds.size() + 8 * one.transitions.size();
    }
    static Ints codeOf(Molecule *mol) {
        const OwnedBlock<int> code(getTransitionCode(mol));
        Ints values;
        for (const int *next = code.get(); next && (values.push_back(*next), *next++ != 0);) {
        }
        return values;
    }
    Ints used() {
        Ints places;
        for (std::size_t i = 0; i < blocks_.size(); ++i)
            if (blocks_[i].isUsed) places.push_back(static_cast<int>(i));
        return places;
    }

    void insert() {
        if (used().size() > 12) return remove();
        const auto code = codeOf(mol());
        if (code.empty()) return;
        const std::string name = "r" + std::string(static_cast<std::size_t>(dice_.below(40)), 'x');
        const bool fits =
            std::all_of(model().atoms.begin(), model().atoms.end(), [](const AtomModel &atom) {
                return std::all_of(atom.place.begin(), atom.place.end(),
                                   [](double x) { return std::isfinite(x); });
            });
        const int done = insertDB(file_.path(), strdup(name.c_str()), code.data(), mol());
        require(done == (fits ? 1 : 0), "what fits a record is stored");
        if (!done) return;
        const auto size = lengthOf(model(), name, code);
        const auto room = std::find_if(blocks_.begin(), blocks_.end(), [&](const BlockModel &one) {
            return !one.isUsed && one.size >= size;
        });
        if (room == blocks_.end())
            blocks_.push_back({size, true, name, code});
        else
            *room = {room->size, true, name, code};
        requireListed();
    }
    void remove() {
        const auto places = used();
        const int position = dice_.below(static_cast<int>(places.size()) + 2) - 1;
        const bool isThere = position >= 0 && position < static_cast<int>(places.size());
        require(removeDB(file_.path(), position) == (isThere ? 1 : 0), "what is there is removed");
        if (isThere) blocks_[static_cast<std::size_t>(at(places, position))].isUsed = false;
        requireListed();
    }

    /// Somebody else replaces the file, frees all of it, or adds an empty block.
    void changeFile() {
        const TemporaryFile other;
        copyFile(file_.path(), other.path());
        const int choice = dice_.below(4);
        if (choice == 0) {
            std::ofstream(other.path(), std::ios::binary | std::ios::trunc).flush();
            blocks_.clear();
        } else if (choice == 1) {
            std::ofstream(other.path(), std::ios::binary | std::ios::app) << std::string(5, '\0');
            blocks_.push_back({});
        }
        if (choice < 3)
            require(renameFile(other.path(), file_.path()) == 0, "a file is replaced");
        else
            require(fileSize(other.path()) == fileSize(file_.path()), "a copy is as long");
        requireListed();
    }
    void requireListed() {
        char **names = nullptr;
        const auto places = used();
        const int count = listDB(file_.path(), &names);
        require(count == static_cast<int>(places.size()), "all records are listed");
        for (int i = 0; i < count; ++i) {
            require(blocks_[static_cast<std::size_t>(at(places, i))].name == names[i],
                    "records are listed in the order of their blocks");
            std::free(names[i]);
        }
        std::free(static_cast<void *>(names));
    }

    /// A database that stays open while others write to it.
    void ask() {
        if (!open_) open_ = openReactionDatabase(file_.path());
        auto code = codeOf(mol());
        if (code.empty()) return;
        const auto expected = std::count_if(blocks_.begin(), blocks_.end(), [&](const auto &one) {
            return one.isUsed && one.code == code;
        });
        Molecule **list = nullptr;
        const int filtered = filterDB(file_.path(), code.data(), &list);
        require(filtered == expected, "the filter finds all records of a code");
        for (Molecule *found : countedSpan(list, filtered))
            freeMol(found);
        std::free(static_cast<void *>(list));
        const auto take = [](Molecule *found, int, void *) { return freeMol(found), 0; };
        require(visitReactions(open_, code.data(), take, nullptr) == expected,
                "the open database sees the file as it is");
        require(reactionDatabaseFailures(open_) == 0, "the file can be read");
        if (dice_.oneIn(30)) closeReactionDatabase(std::exchange(open_, nullptr));
    }

    /// Both go on: the child with a file of its own.
    void forkAndGoOn() {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            const TemporaryFile own;
            copyFile(file_.path(), own.path());
            closeReactionDatabase(std::exchange(open_, nullptr));
            file_.follow(own.path());
            forks_ = false;
            for (int i = 0; i < 50; ++i)
                step();
            unlink(own.path());
            _exit(0);
        }
        int status = -1;
        require(waitpid(child, &status, 0) == child && status == 0, "a forked process goes on");
    }

    struct File {
        TemporaryFile made;
        std::string current = made.path();
        const char *path() const { return current.c_str(); }
        void follow(const char *path) { current = path; }
    };

    Dice dice_;
    bool forks_;
    int which_ = 0;
    std::array<Molecule *, 3> mols_{};
    std::array<MoleculeModel, 3> models_;
    File file_;
    std::vector<BlockModel> blocks_;
    ReactionDatabase *open_ = nullptr;
};

struct Plan {
    unsigned seed;
    long steps;
    bool forks;
};

/// A new program every thousand steps.
int run(void *context) {
    auto &[seed, steps, forks] = *static_cast<Plan *>(context);
    for (long done = 0; done < steps; done += 1000) {
        Program program(seed++, forks);
        for (int i = 0; i < 1000; ++i)
            program.step();
    }
    return 0;
}

long option(int argc, char **argv, const char *name, long otherwise) {
    for (int i = 1; i + 1 < argc; i += 2)
        if (std::strcmp(argv[i], name) == 0) return std::strtol(argv[i + 1], nullptr, 10);
    return otherwise;
}

} // namespace

int main(int argc, char **argv) {
    const long steps = option(argc, argv, "--steps", 10000),
               count = option(argc, argv, "--threads", 0);
    const auto seed = static_cast<unsigned>(option(argc, argv, "--seed", 1));
    if (!std::freopen("/dev/null", "w", stdout)) return 2;
    std::vector<std::thread> threads;
    for (long i = 0; i < count; ++i) {
        threads.emplace_back([=] {
            Plan plan{seed + 1000000 * static_cast<unsigned>(i), steps / count, false};
            Searcher *own = createSearcher();
            withSearcher(own, run, &plan);
            freeSearcher(own);
        });
    }
    for (auto &thread : threads)
        thread.join();
    Plan plan{seed, count ? 0 : steps, true};
    run(&plan);
    std::fprintf(stderr, "%ld steps, as the model says\n", steps);
    return 0;
}
