#include "host/structures/perception.hpp"

#include "saddlefit/bonding.h"

#include "host/structures/host_molecule.hpp"
#include "host/structures/vectors.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <set>

namespace saddlefit::host {

namespace {

constexpr int markingMode = 2; // of bondTypeGuess(): contacts are marked too

// Outer bounds of what bondTypeGuess() calls bonded, as a multiple of the sum of covalent radii,
// and in contact, as parts of the sum of van der Waals radii.
constexpr double bondedReach = 1.3;
constexpr std::array contactReaches{0.7, 0.9};

// A distance this much below a limit, relatively, is within it.
constexpr double justWithin = 1.0 - 1e-9;

// Cells are a little wider than the reach, so that no rounding parts a pair by two cells.
constexpr double cellMargin = 1.001;
// The outermost cell takes all beyond it: cell numbers stay exact, and rounding below the margin.
constexpr double outermostCell = 1e12;
constexpr double leastCellEdge = 1.0; // angstrom, for elements that bind nothing

// More bonds than this for each atom, on average, and the coordinates are no structure's.
constexpr std::size_t mostBondsPerAtom = 100;

template <std::size_t Size> double entry(const double (&table)[Size], int element) {
    return element < static_cast<int>(Size) ? table[element] : 0.0;
}

// The distance beyond which bondTypeGuess() has nothing to say about two elements. Which of them
// may be in contact, and how far, it is asked itself.
double reachOf(int element1, int element2) {
    double reach = bondedReach * (entry(covRad, element1) + entry(covRad, element2));
    const double touching = entry(vdwrad, element1) + entry(vdwrad, element2);
    for (const double part : contactReaches) {
        const double limit = part * touching;
        if (limit <= reach) continue;
        const auto mol =
            hostMolecule({{element1, 0, {}}, {element2, 0, {limit * justWithin, 0.0, 0.0}}});
        Bond pair{};
        pair.atom2 = 1;
        if (bondTypeGuess(mol.get(), &pair, markingMode) != 0) reach = limit;
    }
    return reach;
}

double farthestReach(const std::vector<StructureAtom> &atoms) {
    std::set<int> elements;
    for (const auto &atom : atoms)
        elements.insert(atom.element);
    double reach = 0.0;
    for (const int first : elements) {
        for (const int second : elements)
            reach = std::max(reach, reachOf(first, second));
    }
    return reach;
}

// Atoms by cells of a cubic lattice. The occupied cells stand in a hash table, so that empty space
// costs nothing.
class CellGrid {
public:
    CellGrid(const std::vector<StructureAtom> &atoms, double edge)
        : first_(std::bit_ceil(2 * atoms.size() + 1), none), next_(atoms.size(), none) {
        cells_.reserve(atoms.size());
        for (const auto &atom : atoms)
            cells_.push_back(cellOf(atom.position, edge));
        for (std::size_t i = atoms.size(); i-- > 0;) {
            int &head = first_[bucketOf(cells_[i])];
            next_[i] = head;
            head = static_cast<int>(i);
        }
    }

    // Append the atoms behind `atom`, by number, that are in its cell or one that touches it.
    void appendPartners(int atom, std::vector<int> &partners) const {
        const Cell own = cells_[static_cast<std::size_t>(atom)];
        for (int step = 0; step < cellsAround; ++step) {
            const Cell cell{own[0] + step / 9 - 1, own[1] + step / 3 % 3 - 1,
                            own[2] + step % 3 - 1};
            for (int j = first_[bucketOf(cell)]; j != none; j = next_[static_cast<std::size_t>(j)])
                if (j > atom && cells_[static_cast<std::size_t>(j)] == cell) partners.push_back(j);
        }
    }

private:
    using Cell = std::array<std::int64_t, 3>;
    static constexpr int none = -1;
    static constexpr int cellsAround = 27; // three to each side, the own one included

    static Cell cellOf(const Position &at, double edge) {
        const auto number = [edge](double coordinate) {
            const double cell = std::floor(coordinate / edge);
            return static_cast<std::int64_t>(std::clamp(cell, -outermostCell, outermostCell));
        };
        return {number(at.x), number(at.y), number(at.z)};
    }

    std::size_t bucketOf(const Cell &cell) const {
        // Odd multipliers with bits all over, and the upper half of the product folded in.
        const auto mixed = static_cast<std::uint64_t>(cell[0]) * 0x9e3779b97f4a7c15u +
                           static_cast<std::uint64_t>(cell[1]) * 0xc2b2ae3d27d4eb4fu +
                           static_cast<std::uint64_t>(cell[2]) * 0x165667b19e3779f9u;
        return static_cast<std::size_t>(mixed ^ (mixed >> 32)) & (first_.size() - 1);
    }

    std::vector<Cell> cells_; // of each atom
    std::vector<int> first_;  // atom of each bucket, ...
    std::vector<int> next_;   // ... and the one behind each atom, ascending
};

void requireRoom(std::size_t bonds, std::size_t atoms) {
    if (bonds <= mostBondsPerAtom * atoms) return;
    throw Error("the atoms lie on top of each other, more than " +
                std::to_string(mostBondsPerAtom) +
                " bonds per atom; the coordinates must be in angstrom");
}

double squaredDistance(const Position &p, const Position &q) {
    const auto apart = between(q, p);
    return dot(apart, apart);
}

} // namespace

std::vector<StructureBond> candidateBonds(const std::vector<StructureAtom> &atoms) {
    const auto mol = hostMolecule(atoms);
    const double edge = std::max(cellMargin * farthestReach(atoms), leastCellEdge);
    const CellGrid grid(atoms, edge);
    std::vector<StructureBond> bonds;
    std::vector<int> partners;
    Bond pair{};
    for (pair.atom1 = 0; pair.atom1 < static_cast<int>(atoms.size()); ++pair.atom1) {
        const auto &at = atoms[static_cast<std::size_t>(pair.atom1)].position;
        partners.clear();
        grid.appendPartners(pair.atom1, partners);
        std::sort(partners.begin(), partners.end());
        for (const int partner : partners) {
            const auto &other = atoms[static_cast<std::size_t>(partner)].position;
            if (squaredDistance(at, other) > edge * edge) continue;
            pair.atom2 = partner;
            const int mark = bondTypeGuess(mol.get(), &pair, markingMode);
            if (mark != 0) bonds.push_back({pair.atom1, pair.atom2, mark});
        }
        requireRoom(bonds.size(), atoms.size());
    }
    return bonds;
}

std::vector<StructureBond> perceivedBonds(const std::vector<StructureAtom> &atoms) {
    const auto mol = hostMolecule(atoms, candidateBonds(atoms));
    recheckBonds(mol.get());
    std::vector<StructureBond> bonds;
    bonds.reserve(static_cast<std::size_t>(mol->bondCount));
    for (int i = 0; i < mol->bondCount; ++i) {
        const Bond &bond = *mol->bonds[i];
        bonds.push_back({bond.atom1, bond.atom2, bond.type});
    }
    return bonds;
}

std::vector<StructureBond> perceivedCovalentBonds(const std::vector<StructureAtom> &atoms) {
    auto bonds = perceivedBonds(atoms);
    std::erase_if(bonds, [](const StructureBond &bond) { return bond.type == 0; });
    return bonds;
}

} // namespace saddlefit::host
