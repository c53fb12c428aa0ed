#include "host/saddle/ends.hpp"

#include "host/saddle/hessian.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

constexpr double leastCurvature = 0.02; // hartree per square bohr
constexpr int leastSteps = 8;           // flat tops would pass for minima otherwise

/// How far from the saddle the energy has fallen by a millihartree.
double firstDisplacement(const StationaryPoint &saddle) {
    const Eigen::VectorXd mode = saddle.vibrations.modes.col(0);
    const double curvature = std::abs(mode.dot(saddle.hessian * mode));
    return std::clamp(std::sqrt(2e-3 / std::max(curvature, 1e-6)), 0.1, 0.6);
}

/// Off whatever ridge or shoulder a descent ended on: every coordinate by the same small amount,
/// with signs that follow no symmetry of a molecule.
Eigen::VectorXd kicked(const Eigen::VectorXd &coordinates) {
    constexpr double kick = 0.02; // bohr
    Eigen::VectorXd moved = coordinates;
    unsigned state = 1;
    for (Eigen::Index i = 0; i < moved.size(); ++i) {
        state = state * 1664525u + 1013904223u;
        moved[i] += state >> 31 != 0 ? kick : -kick;
    }
    return moved;
}

Minimum descended(EnergySurface &surface, const Eigen::VectorXd &start,
                  const Eigen::MatrixXd &hessian, Descent descent) {
    MinimiseOptions options;
    options.leastSteps = leastSteps;
    if (descent == Descent::quick) return minimise(surface, start, hessian, options);

    options.longestStep = 0.06;
    options.mostSteps = 300;
    const auto valley = minimise(surface, start, hessian, options);
    MinimiseOptions tight;
    tight.largestGradient = 3e-4;
    tight.longestStep = 0.1;
    return minimise(surface, kicked(valley.coordinates), hessian, tight);
}

} // namespace

std::array<End, 2> endsOf(EnergySurface &surface, const StationaryPoint &saddle, Descent descent) {
    const Eigen::MatrixXd hessian = positiveHessian(saddle.hessian, leastCurvature);
    const Eigen::VectorXd displacement = firstDisplacement(saddle) * saddle.vibrations.modes.col(0);
    std::array<End, 2> ends;
    for (std::size_t side = 0; side < ends.size(); ++side) {
        const double sign = side == 0 ? 1.0 : -1.0;
        auto &end = ends[side];
        end.minimum =
            descended(surface, saddle.coordinates + sign * displacement, hessian, descent);
        end.bonds = bondGraph(surface.species(), end.minimum.coordinates);
    }
    return ends;
}

} // namespace saddlefit::host
