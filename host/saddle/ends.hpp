#pragma once

#include "host/saddle/descent.hpp"
#include "host/saddle/minimise.hpp"
#include "host/saddle/saddle_point.hpp"

#include <array>

namespace saddlefit::host {

struct End {
    Minimum minimum;
    BondGraph bonds;
};

/// The minima on both sides of a first-order saddle: along its imaginary mode, and against it.
std::array<End, 2> endsOf(EnergySurface &surface, const StationaryPoint &saddle,
                          Descent descent = Descent::quick);

} // namespace saddlefit::host
