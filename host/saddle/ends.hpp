#pragma once

#include "host/saddle/minimise.hpp"
#include "host/saddle/saddle_point.hpp"

#include <array>

namespace saddlefit::host {

/// How the ends of a saddle are come to.
enum class Descent {
    quick, ///< steps as long as the surface's curvature allows
    fine   ///< steps of 0.06 bohr, then a kick and a tight minimum: no valley is stepped over
};

/// "quick" or "fine".
const char *nameOf(Descent descent);

struct End {
    Minimum minimum;
    BondGraph bonds;
};

/// The minima on both sides of a first-order saddle: along its imaginary mode, and against it.
std::array<End, 2> endsOf(EnergySurface &surface, const StationaryPoint &saddle,
                          Descent descent = Descent::quick);

} // namespace saddlefit::host
