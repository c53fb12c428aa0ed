#pragma once

#include "host/saddle/energy.hpp"

#include <vector>

namespace saddlefit::host {

struct PathOptions {
    double step = 0.1;             ///< root of dalton times bohr
    int mostSteps = 150;           ///< on each side
    double largestGradient = 1e-3; ///< component, hartree per bohr: a path ends below it
};

/// A structure on the way down from a saddle.
struct PathStep {
    double arc = 0.0;    ///< from the saddle, root of dalton times bohr; negative against the mode
    double energy = 0.0; ///< hartree
    Eigen::VectorXd coordinates;
};

/// The intrinsic reaction coordinate (Fukui, Acc. Chem. Res. 14, 363 (1981)) from its end against
/// the lowest mode over the saddle to its end along it, by the Hessian-based predictor and
/// corrector of Hratchian and Schlegel (J. Chem. Phys. 120, 9918 (2004)): a gradient per step, the
/// Hessian by Bofill's update. Energies beside the saddle's are those of the interpolated surface.
/// @param hessian at the saddle, hartree per square bohr
/// Throws Error.
std::vector<PathStep> intrinsicPath(EnergySurface &surface, const Eigen::VectorXd &saddle,
                                    const Eigen::MatrixXd &hessian,
                                    const PathOptions &options = {});

} // namespace saddlefit::host
