/// Coordinates from bonds alone: distance geometry (G. M. Crippen, T. F. Havel, "Distance Geometry
/// and Molecular Conformation", 1988).
#pragma once

#include "host/structures/stereo_marks.hpp"
#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// Between which distances each pair of atoms may stand, in angstrom.
struct DistanceBounds {
    struct Range {
        double least = 0.0;
        double most = 0.0;
    };
    std::size_t atoms = 0;
    std::vector<Range> ranges; ///< atom by atom

    Range &of(std::size_t a, std::size_t b) { return ranges[a * atoms + b]; }
    const Range &of(std::size_t a, std::size_t b) const { return ranges[a * atoms + b]; }
};

/// By the library's bond lengths, the usual angles of the elements, and the contacts of atoms that
/// no bonds hold.
DistanceBounds distanceBounds(const Structure &structure, const StereoMarks &marks);

/// What is between two sides of a reaction: distances that both allow, and where one of them holds
/// two atoms together, some that are longer than that.
DistanceBounds boundsBetween(const DistanceBounds &one, const DistanceBounds &other);

/// A geometry within the bounds as nearly as may be, another for each seed.
std::vector<Position> embeddedWithin(const DistanceBounds &bounds, unsigned seed);

} // namespace saddlefit::host
