/// The way down on both sides of a saddle point.
#pragma once

#include "host/saddle/reaction_saddle.hpp"

#include <vector>

namespace saddlefit::host {

struct PathPoint {
    double arc = 0.0;    ///< from the saddle, root of dalton times bohr
    double energy = 0.0; ///< hartree
    std::vector<Position> positions;
};

/// The intrinsic reaction coordinate over a first-order saddle that was found, towards its first
/// end (negative arcs) and towards the second: see intrinsicPath(). Throws Error where the method
/// fails on the way.
std::vector<PathPoint> pathOver(const SaddleTask &task, const SaddleTry &saddle,
                                const SaddleOptions &options);

} // namespace saddlefit::host
