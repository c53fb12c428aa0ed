/// A structure as a file gives it, free of any program's own records.
#pragma once

#include "host/system/error.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace saddlefit::host {

/// The library's code for an aromatic bond, and the one that MDL files use.
constexpr int aromaticType = 5;
constexpr int mdlAromaticType = 4;

/// In angstrom.
struct Position {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

struct StructureAtom {
    int element = 0;
    int charge = 0;
    Position position;
};

/// Atoms count from 0 and stand in the file's order; type is the library's code (0 to 5).
struct StructureBond {
    int atom1 = 0;
    int atom2 = 0;
    int type = 0;
};

/// Two atoms, the lower number first.
using AtomPair = std::pair<int, int>;

/// The bonds of a ring, ascending.
using Ring = std::vector<AtomPair>;

struct Structure {
    Place origin; ///< of its record
    std::string title;
    std::vector<StructureAtom> atoms;
    std::vector<StructureBond> bonds;
    std::vector<Ring> aromaticRings;
    std::map<std::string, std::string> fields;
    std::vector<int> mapNumbers; ///< per atom, 0 for none; empty where none has one
    std::vector<int> radicals;   ///< unpaired electrons that are marked, per atom; empty for none
    bool hasIsotopes = false;    ///< in the record; the atoms here have elements only
    bool namesBonds = true;      ///< false where the format has none, wherever those here are from
    std::optional<int> charge;   ///< of the whole, where the record tells it by itself
    std::optional<int> unpaired; ///< electrons, likewise
};

inline double distanceBetween(const Position &a, const Position &b) {
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

inline std::vector<Position> positionsOf(const std::vector<StructureAtom> &atoms) {
    std::vector<Position> positions;
    for (const auto &atom : atoms)
        positions.push_back(atom.position);
    return positions;
}

inline void setPositions(std::vector<StructureAtom> &atoms,
                         const std::vector<Position> &positions) {
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].position = positions[i];
}

/// False if several atoms all lie in one place, as where a file gives a formula only.
inline bool hasCoordinates(const std::vector<StructureAtom> &atoms) {
    const auto apart = [&](const StructureAtom &atom) {
        const auto &at = atom.position, &first = atoms.front().position;
        return at.x != first.x || at.y != first.y || at.z != first.z;
    };
    return atoms.size() < 2 || std::any_of(atoms.begin(), atoms.end(), apart);
}

inline AtomPair orderedPair(int a, int b) {
    return a < b ? AtomPair{a, b} : AtomPair{b, a};
}

} // namespace saddlefit::host
