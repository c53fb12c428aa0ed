#include "host/structures/stereo_marks.hpp"

#include "host/structures/vectors.hpp"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace saddlefit::host {

namespace {

constexpr double flat = 0.1; // angstrom cubed, of the volume that four atoms span

const Position &pointAt(std::span<const Position> positions, int atom) {
    return positions[static_cast<std::size_t>(atom)];
}

// A lone pair has no place of its own: seen from it, the others go round as they do seen from the
// centre with the pair behind them.
bool isKept(const babel::TetrahedralCentre &mark, std::span<const Position> positions) {
    const auto place = [&](int atom) { return pointAt(positions, atom < 0 ? mark.centre : atom); };
    const auto top = place(mark.from);
    const auto a = between(top, place(mark.others[0])), b = between(top, place(mark.others[1])),
               c = between(top, place(mark.others[2]));
    const double volume = dot(a, cross(b, c));
    return mark.clockwise ? volume > flat : volume < -flat;
}

bool isKept(const babel::DoubleBond &mark, std::span<const Position> positions) {
    const std::size_t left = mark.around[0] >= 0 ? 0 : 1, right = mark.around[2] >= 0 ? 2 : 3;
    if (mark.around[left] < 0 || mark.around[right] < 0) return true;
    const bool sameSide = (left == 0) == (right == 3);
    const auto &begin = pointAt(positions, mark.atom1), &end = pointAt(positions, mark.atom2);
    const auto axis = between(begin, end);
    const auto u = cross(between(begin, pointAt(positions, mark.around[left])), axis);
    const auto v = cross(between(end, pointAt(positions, mark.around[right])), axis);
    return (dot(u, v) > 0) == sameSide;
}

template <std::size_t count>
std::array<std::int32_t, count> moved(const std::array<std::int32_t, count> &atoms,
                                      std::span<const int> places) {
    auto result = atoms;
    for (auto &atom : result)
        if (atom >= 0) atom = places[static_cast<std::size_t>(atom)];
    return result;
}

bool isGone(std::initializer_list<std::int32_t> atoms, std::span<const int> places) {
    return std::any_of(atoms.begin(), atoms.end(), [&](std::int32_t atom) {
        return atom >= 0 && places[static_cast<std::size_t>(atom)] < 0;
    });
}

} // namespace

int unkeptMarks(const StereoMarks &marks, std::span<const Position> positions) {
    const auto count = [&](const auto &list) {
        return std::count_if(list.begin(), list.end(),
                             [&](const auto &mark) { return !isKept(mark, positions); });
    };
    return static_cast<int>(count(marks.centres) + count(marks.doubleBonds));
}

StereoMarks renumbered(const StereoMarks &marks, std::span<const int> places) {
    StereoMarks result;
    for (const auto &[centre, from, others, clockwise] : marks.centres) {
        if (isGone({centre, from, others[0], others[1], others[2]}, places)) continue;
        const auto ends = moved(std::array{centre, from}, places);
        result.centres.push_back({ends[0], ends[1], moved(others, places), clockwise});
    }
    for (const auto &[atom1, atom2, around] : marks.doubleBonds) {
        if (isGone({atom1, atom2, around[0], around[1], around[2], around[3]}, places)) continue;
        const auto ends = moved(std::array{atom1, atom2}, places);
        result.doubleBonds.push_back({ends[0], ends[1], moved(around, places)});
    }
    return result;
}

} // namespace saddlefit::host
