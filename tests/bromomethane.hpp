/// A reaction to search for: CHFBr(OH) loses its bromine. Coordinates are exact in single
/// precision.
#pragma once

#include "saddlefit/database.h"
#include "saddlefit/reaction.h"

#include "tests/molecules.hpp"

#include <algorithm>

namespace saddlefit::test {

inline const std::vector<At> methane = {
    {6, 0, 0, 0}, {35, 2, 0, 0}, {9, 0, 1.5, 0}, {8, 0, 0, 1.5}, {1, -0.625, -0.625, -0.625}};
inline const std::string methaneBonds = "0 1 0, 0 2 1, 0 3 1, 0 4 1";
inline const std::vector<Transition> bromineLeaves = {{0, 1, -1, -1}};

/// Structures to be stored, without places.
inline const struct Kind {
    const char *name;
    Ints elements;
    std::string bonds;
} kinds[] = {
    {"exact", {6, 35, 9, 8, 1}, methaneBonds},
    {"super", {6, 35, 9, 8, 1, 6}, methaneBonds + ", 3 5 1"},
    {"extra", {6, 35, 9, 8, 1, 17}, methaneBonds + ", 0 5 1"},
    {"none", {6, 35, 9, 1, 1}, methaneBonds},
    {"sub", {6, 35, 9, 8, 1}, "0 1 0, 0 2 1, 0 3 1, 3 4 1"},           // the H on O
    {"far", {6, 35, 9, 8, 1, 6}, "0 1 0, 3 2 1, 0 3 1, 0 4 1, 3 5 1"}, // the F on O
    {"bare", {6, 35, 1, 1, 1}, methaneBonds},
    {"hostile", {6, 35, 9, 8, 300}, methaneBonds},
    {"other", {6, 17, 9, 8, 1}, methaneBonds},
};

/// One of them by its name, which may go on with the length of its C-Br bond.
inline OwnedMol storedStructure(const std::string &name) {
    const Kind *kind =
        std::ranges::find_if(kinds, [&](const Kind &k) { return name.starts_with(k.name); });
    std::vector<At> atoms = methane;
    atoms.push_back({6, -1, 1, 2});
    atoms.resize(kind->elements.size());
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].element = kind->elements[i];
    if (name != kind->name) atoms[1].x = std::stod(name.substr(std::strlen(kind->name)));
    return molecule(atoms, kind->bonds, bromineLeaves);
}

/// The result of insertDB().
inline int store(const TemporaryFile &file, const std::string &name, Molecule &mol) {
    const OwnedBlock<int> code(getTransitionCode(&mol));
    return insertDB(file.path(), strdup(name.c_str()), code.get(), &mol);
}

/// A database of such structures.
struct Stored : TemporaryFile {
    explicit Stored(const std::vector<std::string> &names) {
        for (const std::string &name : names)
            EXPECT_EQ(store(*this, name, *storedStructure(name)), 1);
    }
};

/// The molecule asked for: turned and moved, or its mirror image.
inline OwnedMol asked(double length = 2, bool mirrored = false) {
    OwnedMol mol = molecule(methane, methaneBonds, bromineLeaves);
    setLabels(*mol, {"C1", "Br2", "F3", "O4"});
    mol->atoms[1].x = length;
    for (Atom &atom : atomsOf(*mol)) {
        const double x = atom.x, y = atom.y, z = mirrored ? -atom.z : atom.z;
        atom.x = z + 5;
        atom.y = x - 3;
        atom.z = y + 1;
    }
    return mol;
}

struct Found {
    int result = -99;
    OwnedMol match;
    OwnedBlock<int> map;
    std::string output;

    Ints partners(int count) const { return map ? Ints(map.get(), map.get() + count) : Ints(); }
};

inline Found search(const char *path, Molecule &mol) {
    Found found;
    Molecule *match = nullptr;
    int *map = nullptr;
    found.output = printed([&] { found.result = mapDB(path, &mol, &match, &map); });
    found.match.reset(match);
    found.map.reset(map);
    return found;
}

} // namespace saddlefit::test
