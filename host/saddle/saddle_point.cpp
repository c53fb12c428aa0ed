#include "host/saddle/saddle_point.hpp"

#include "host/saddle/hessian.hpp"
#include "host/saddle/internal_space.hpp"
#include "host/saddle/saddle_mode.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

constexpr int mostRounds = 3;
constexpr double pushLength = 0.3; // bohr, of all coordinates

/// How far to go along a mode for the energy to fall by a millihartree.
double slideLength(double curvature) {
    return std::clamp(std::sqrt(2e-3 / std::max(std::abs(curvature), 1e-6)), 0.1, 0.3);
}

/// Where to begin again from a point with extra imaginary modes: below it on each of them, on the
/// side that lies deeper.
SaddleStart belowExtraModes(EnergySurface &surface, const StationaryPoint &point,
                            const DirectionAt &direction) {
    const auto basis = internalBasis(surface.species(), point.coordinates);
    const auto spectrum = spectrumOf(basis.transpose() * point.hessian * basis);
    const Eigen::VectorXd wanted = basis.transpose() * direction(point.coordinates);
    const auto kept = reactingMode(spectrum, wanted).value_or(0);
    Eigen::VectorXd coordinates = point.coordinates;
    const int order = point.vibrations.order();
    for (Eigen::Index i = 0; i < order; ++i) {
        if (i == kept || spectrum.values[i] >= 0.0) continue;
        const Eigen::VectorXd slide =
            slideLength(spectrum.values[i]) * (basis * spectrum.vectors.col(i));
        const double ahead = surface.at(coordinates + slide).energy;
        const double behind = surface.at(coordinates - slide).energy;
        coordinates += ahead < behind ? slide : Eigen::VectorXd(-slide);
    }
    return {coordinates, point.hessian, Eigen::VectorXd(basis * spectrum.vectors.col(kept))};
}

SaddleStart awayFromNearerSide(const StationaryPoint &point, const DirectionAt &direction,
                               const ReactionProgress &progress) {
    const double here = progressOf(progress.bonds, point.coordinates);
    const bool nearReactant =
        std::abs(here - progress.atReactant) < std::abs(here - progress.atProduct);
    const Eigen::VectorXd push = direction(point.coordinates) * pushLength;
    return {point.coordinates + (nearReactant ? push : Eigen::VectorXd(-push)), std::nullopt,
            std::nullopt};
}

void measure(EnergySurface &surface, StationaryPoint &point) {
    point.hessian = centralHessian(surface, point.coordinates);
    point.vibrations = vibrationsOf(surface.species(), point.coordinates, point.hessian);
}

StationaryPoint found(EnergySurface &surface, const SaddleStart &start,
                      const DirectionAt &direction, const SaddleSearchOptions &options) {
    const auto result = searchSaddle(surface, start, direction, options);
    StationaryPoint point;
    point.converged = result.converged;
    point.coordinates = result.coordinates;
    point.energy = result.value.energy;
    point.largestGradient = result.value.gradient.lpNorm<Eigen::Infinity>();
    return point;
}

} // namespace

StationaryPoint findFirstOrder(EnergySurface &surface, const SaddleStart &start,
                               const DirectionAt &direction, const ReactionProgress &progress,
                               const SaddleSearchOptions &options) {
    const int before = surface.gradientsUsed();
    auto point = found(surface, start, direction, options);
    const int gradients = surface.gradientsUsed() - before;
    for (int round = 1; point.converged; ++round) {
        measure(surface, point);
        if (point.isFirstOrder() || round > mostRounds) break;
        const auto next = point.vibrations.order() > 1
                              ? belowExtraModes(surface, point, direction)
                              : awayFromNearerSide(point, direction, progress);
        point = found(surface, next, direction, options);
    }
    point.gradients = gradients;
    return point;
}

StationaryPoint measured(EnergySurface &surface, const Eigen::VectorXd &coordinates,
                         const SaddleSearchOptions &options) {
    const auto value = surface.at(coordinates);
    StationaryPoint point;
    point.largestGradient = value.gradient.lpNorm<Eigen::Infinity>();
    point.converged = point.largestGradient < options.largestGradient;
    point.coordinates = coordinates;
    point.energy = value.energy;
    measure(surface, point);
    return point;
}

} // namespace saddlefit::host
