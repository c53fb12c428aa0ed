#include "host/reactions/map_geometry.hpp"

#include "host/reactions/least_misfit.hpp"
#include "host/reactions/transitions.hpp"
#include "host/structures/vectors.hpp"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace saddlefit::host {

namespace {

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

std::vector<Position> centred(const std::vector<StructureAtom> &atoms) {
    Position sum;
    for (const auto &[element, charge, at] : atoms)
        sum = {sum.x + at.x, sum.y + at.y, sum.z + at.z};
    const double count = static_cast<double>(std::max<std::size_t>(atoms.size(), 1));
    std::vector<Position> positions;
    for (const auto &[element, charge, at] : atoms)
        positions.push_back({at.x - sum.x / count, at.y - sum.y / count, at.z - sum.z / count});
    return positions;
}

/// Three legs of a tetrahedral atom as seen from the fourth: 1 or -1, or 0 where they are flat.
int handedness(const std::vector<Position> &at, const std::array<int, 4> &legs) {
    const auto &top = at[index(legs[0])];
    const auto a = between(top, at[index(legs[1])]), b = between(top, at[index(legs[2])]),
               c = between(top, at[index(legs[3])]);
    const double volume = dot(a, cross(b, c));
    const double scale = std::sqrt(dot(a, a) * dot(b, b) * dot(c, c));
    constexpr double flat = 0.15; // 0.71 in a tetrahedron
    if (std::abs(volume) <= flat * scale) return 0;
    return volume > 0 ? 1 : -1;
}

/// 1 where a and d are on the same side of the bond b-c, -1 where they are not, or 0 between.
int sideOfBond(const std::vector<Position> &at, int a, int b, int c, int d) {
    const auto axis = between(at[index(b)], at[index(c)]);
    const auto u = cross(between(at[index(b)], at[index(a)]), axis);
    const auto v = cross(between(at[index(c)], at[index(d)]), axis);
    const double size = std::sqrt(dot(u, u) * dot(v, v));
    constexpr double upright = 0.5;
    if (std::abs(dot(u, v)) <= upright * size) return 0;
    return dot(u, v) > 0 ? 1 : -1;
}

/// Any of the neighbours but this one; -1 without another.
int anotherNeighbour(const BondGraph &graph, int atom, int one) {
    for (const int neighbour : graph.neighbours(atom))
        if (neighbour != one) return neighbour;
    return -1;
}

} // namespace

PlacedSide::PlacedSide(const Structure &structure, const MapSide &side)
    : graph(side.graph),
      positions(centred(structure.atoms)),
      moves(symmetryMoves(side)),
      types_(positions.size() * positions.size()) {
    const auto set = [&](int a, int b, int type) {
        types_[index(a) * positions.size() + index(b)] = static_cast<std::uint8_t>(type);
        types_[index(b) * positions.size() + index(a)] = static_cast<std::uint8_t>(type);
    };
    for (const auto &bond : structure.bonds)
        set(bond.atom1, bond.atom2, bond.type);
    for (const auto &ring : structure.aromaticRings)
        for (const auto &[a, b] : ring)
            set(a, b, aromaticType);
}

int PlacedSide::type(int a, int b) const {
    return types_[index(a) * positions.size() + index(b)];
}

bool isBetter(const AtomMap &map, const AtomMap &other) {
    constexpr double tiny = 1e-7; // angstrom
    const auto first = std::tie(map.inverted, map.orderSteps);
    const auto second = std::tie(other.inverted, other.orderSteps);
    return first != second ? first < second : map.misfit < other.misfit - tiny;
}

// Only of an atom that has the same four neighbours on both sides.
bool MapGeometry::isInverted(int atom, const std::vector<int> &map) const {
    const auto around = before_.graph.neighbours(atom);
    if (around.size() != 4 || after_.graph.neighbours(map[index(atom)]).size() != 4) return false;
    std::array<int, 4> legs{}, legsAfter{};
    for (std::size_t i = 0; i < 4; ++i) {
        legs[i] = around[i];
        legsAfter[i] = map[index(around[i])];
        if (after_.type(map[index(atom)], legsAfter[i]) == 0) return false;
    }
    return handedness(before_.positions, legs) * handedness(after_.positions, legsAfter) < 0;
}

bool MapGeometry::isTurned(const AtomPair &bond, const std::vector<int> &map) const {
    const auto &[b, c] = bond;
    constexpr int doubleType = 2;
    const int b2 = map[index(b)], c2 = map[index(c)];
    if (before_.type(b, c) != doubleType || after_.type(b2, c2) != doubleType) return false;
    const int a = anotherNeighbour(before_.graph, b, c), d = anotherNeighbour(before_.graph, c, b);
    if (a < 0 || d < 0) return false;
    const int a2 = map[index(a)], d2 = map[index(d)];
    if (after_.type(a2, b2) == 0 || after_.type(c2, d2) == 0) return false;
    return sideOfBond(before_.positions, a, b, c, d) *
               sideOfBond(after_.positions, a2, b2, c2, d2) <
           0;
}

int MapGeometry::inverted(const std::vector<int> &map) const {
    int count = 0;
    for (int atom = 0; index(atom) < map.size(); ++atom)
        count += isInverted(atom, map) ? 1 : 0;
    for (const auto &bond : before_.graph.bonds())
        count += isTurned(bond, map) ? 1 : 0;
    return count;
}

int MapGeometry::orderSteps(const std::vector<int> &map) const {
    int steps = 0;
    for (const auto &[a, b] : before_.graph.bonds()) {
        const int after = after_.type(map[index(a)], map[index(b)]);
        if (after != 0) steps += stepsBetween(before_.type(a, b), after);
    }
    return steps;
}

AtomMap MapGeometry::judged(std::vector<int> productAtoms) const {
    AtomMap map;
    map.inverted = inverted(productAtoms);
    map.orderSteps = orderSteps(productAtoms);
    map.misfit = leastMisfit(before_.positions, after_.positions, productAtoms);
    map.productAtoms = std::move(productAtoms);
    return map;
}

bool MapGeometry::improve(AtomMap &map, const PlacedSide &side,
                          const std::vector<SymmetryMove> &moves, bool thenTwins) const {
    const bool ofProduct = &side == &after_;
    bool improved = false;
    std::vector<int> reactantAtoms(map.productAtoms.size());
    for (const auto &move : moves) {
        auto moved = map.productAtoms;
        for (std::size_t i = 0; ofProduct && i < moved.size(); ++i)
            reactantAtoms[index(map.productAtoms[i])] = static_cast<int>(i);
        for (const auto &[atom, place] : move) {
            if (ofProduct)
                moved[index(reactantAtoms[index(atom)])] = place;
            else
                moved[index(atom)] = map.productAtoms[index(place)];
        }
        auto other = judged(std::move(moved));
        if (thenTwins) improveTwins(other);
        if (!isBetter(other, map)) continue;
        map = std::move(other);
        improved = true;
    }
    return improved;
}

void MapGeometry::improveTwins(AtomMap &map) const {
    bool improved = true;
    while (improved) {
        improved = false;
        for (const auto *side : {&before_, &after_})
            improved = improve(map, *side, side->moves.twins, false) || improved;
    }
}

AtomMap MapGeometry::settled(const std::vector<int> &productAtoms) const {
    auto map = judged(productAtoms);
    improveTwins(map);
    bool improved = true;
    while (improved) {
        improved = false;
        for (const auto *side : {&before_, &after_}) {
            for (const auto *moves : {&side->moves.parts, &side->moves.twins})
                improved = improve(map, *side, *moves, true) || improved;
        }
    }
    return map;
}

} // namespace saddlefit::host
