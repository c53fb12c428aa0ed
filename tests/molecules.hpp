/// Makers of small molecules and temporary files for the tests.
#pragma once

#include "saddlefit/molecule.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace saddlefit::test {

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
inline std::vector<int> listOf(const Molecule &mol, int atom) {
    std::vector<int> neighbours;
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

/// What a body prints on standard output.
inline std::string printed(const std::function<void()> &body) {
    testing::internal::CaptureStdout();
    body();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

} // namespace saddlefit::test
