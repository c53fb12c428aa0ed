#pragma once

#include "host/saddle/energy.hpp"

namespace saddlefit::host {

struct MinimiseOptions {
    double largestGradient = 1e-3; ///< component at the end, hartree per bohr
    double longestStep = 0.4;      ///< bohr, of all coordinates together
    int leastSteps = 0;            ///< taken even where the gradient is small
    int mostSteps = 100;
};

struct Minimum {
    bool converged = false;
    Eigen::VectorXd coordinates;
    Evaluation value;
    int steps = 0;
};

/// Descend by rational-function steps with a trust radius, the Hessian (positive to begin with)
/// updated by damped BFGS. Throws Error if the surface gives no energy even for a short
/// step.
Minimum minimise(EnergySurface &surface, const Eigen::VectorXd &start, Eigen::MatrixXd hessian,
                 const MinimiseOptions &options = {});

/// From a structure's own coordinates, with a model Hessian.
Minimum relax(EnergySurface &surface, const Eigen::VectorXd &start,
              const MinimiseOptions &options = {});

} // namespace saddlefit::host
