#pragma once

#include "host/saddle/energy.hpp"

#include <functional>
#include <optional>

namespace saddlefit::host {

/// The direction in which a reaction goes at a geometry: of length 1 and without rigid motions, or
/// all zero where it is not known.
using DirectionAt = std::function<Eigen::VectorXd(const Eigen::VectorXd &)>;

/// Where it is not known anywhere.
Eigen::VectorXd anyDirection(const Eigen::VectorXd &coordinates);

struct SaddleSearchOptions {
    double largestGradient = 5e-4; ///< component at the end, hartree per bohr
    int mostSteps = 60;
};

/// Where a search begins. What is already known there saves evaluations.
struct SaddleStart {
    Eigen::VectorXd coordinates;
    std::optional<Eigen::MatrixXd> hessian;
    std::optional<Eigen::VectorXd> mode; ///< to follow
};

struct SaddleSearchResult {
    bool converged = false;
    Eigen::VectorXd coordinates;
    Evaluation value;
    Eigen::MatrixXd hessian; ///< as it was updated, not computed at the end
    Eigen::VectorXd mode;    ///< that was followed
    int steps = 0;
};

/// Climb along one mode of the Hessian and descend along all others until no gradient is left:
/// partitioned rational function optimisation (Baker, J. Comput. Chem. 7, 385 (1986)) in Cartesian
/// coordinates, with a trust radius, a Hessian by finite differences every twelve steps and
/// Bofill's update between. The mode is the one that goes most in the reaction's direction where
/// the search begins, and later the one most like the last. Throws Error if the surface
/// gives no energy three times in a row.
SaddleSearchResult searchSaddle(EnergySurface &surface, const SaddleStart &start,
                                const DirectionAt &direction,
                                const SaddleSearchOptions &options = {});

} // namespace saddlefit::host
