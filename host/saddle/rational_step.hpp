#pragma once

#include <Eigen/Dense>

namespace saddlefit::host {

/// The step of the rational function model in the eigenbasis of a Hessian (Banerjee et al., J.
/// Phys. Chem. 89, 52 (1985)): s_i = -f_i / (b_i - mu), where mu is the lowest eigenvalue of the
/// matrix of curvatures b bordered by the gradient's components f, or as much lower as it takes for
/// the step to be no longer than the longest one.
Eigen::VectorXd rationalStep(const Eigen::VectorXd &curvatures, const Eigen::VectorXd &components,
                             double longest);

} // namespace saddlefit::host
