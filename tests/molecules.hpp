/// Makers of small molecules and temporary files for the tests.
#pragma once

#include "saddlefit/molecule.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"
#include "tests/lists.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace saddlefit::test {

struct Dice {
    std::mt19937 engine;

    explicit Dice(unsigned seed) : engine(seed) {}
    int below(int n) { return static_cast<int>(engine() % static_cast<unsigned>(n)); }
    int oneOf(const Ints &values) { return at(values, below(static_cast<int>(values.size()))); }
    bool oneIn(int n) { return below(n) == 0; }
};

/// Element and place.
struct At {
    int element;
    double x = 0, y = 0, z = 0; // angstrom
};

/// A molecule of these atoms and bonds; a bond is written as its atoms and its type: "0 1 1, 1 2
/// 2".
inline OwnedMol molecule(const std::vector<At> &atoms, const std::string &bonds = "",
                         const std::vector<Transition> &transitions = {}) {
    OwnedMol mol(createMol());
    for (const auto &[element, x, y, z] : atoms)
        addAtom(mol.get(), x, y, z, element);
    std::istringstream text(bonds);
    char comma;
    for (int a, b, type; text >> a >> b >> type; text >> comma)
        addBond(mol.get(), a, b, type);
    mol->transitions = allocateArray<Transition>(transitions.size());
    std::copy(transitions.begin(), transitions.end(), mol->transitions);
    mol->transitionCount = static_cast<int>(transitions.size());
    return mol;
}

/// Label the first atoms.
inline void setLabels(Molecule &mol, const std::vector<const char *> &labels) {
    for (std::size_t i = 0; i < labels.size(); ++i)
        mol.atoms[i].label = strdup(labels[i]);
}

/// A molecule's bonds, written likewise.
inline std::string writtenBonds(const Molecule &mol) {
    std::string text;
    for (const auto *bond : bondsOf(mol))
        text += (text.empty() ? "" : ", ") + std::to_string(bond->atom1) + ' ' +
                std::to_string(bond->atom2) + ' ' + std::to_string(bond->type);
    return text;
}

/// The neighbours of an atom as its list in the index names them.
inline Ints listOf(const Molecule &mol, int atom) {
    Ints neighbours;
    for (const BondlinkNode *node = mol.bondlink[atom]; node; node = node->next)
        neighbours.push_back(otherEnd(*node->bond, atom));
    return neighbours;
}

inline void expectAt(const Atom &atom, double x, double y, double z, double tolerance) {
    EXPECT_NEAR(atom.x, x, tolerance);
    EXPECT_NEAR(atom.y, y, tolerance);
    EXPECT_NEAR(atom.z, z, tolerance);
}

/// An empty file that is gone at the end of the test.
class TemporaryFile {
public:
    TemporaryFile() { close(mkstemp(path_.data())); }
    ~TemporaryFile() { unlink(path()); }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    const char *path() const { return path_.c_str(); }

private:
    std::string path_ = testing::TempDir() + "saddlefitXXXXXX";
};

inline std::string bytesOf(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

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

/// What a body prints on standard output.
inline std::string printed(const std::function<void()> &body) {
    testing::internal::CaptureStdout();
    body();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

} // namespace saddlefit::test
