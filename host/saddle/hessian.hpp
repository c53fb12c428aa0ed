#pragma once

#include "host/saddle/energy.hpp"

namespace saddlefit::host {

// Hessians are of all coordinates, in hartree per square bohr, and without rigid motions.

/// By forward differences from the gradient at the coordinates: a gradient per internal direction.
Eigen::MatrixXd forwardHessian(EnergySurface &surface, const Eigen::VectorXd &coordinates,
                               const Eigen::VectorXd &gradient);

/// By central differences: two gradients per internal direction.
Eigen::MatrixXd centralHessian(EnergySurface &surface, const Eigen::VectorXd &coordinates);

/// Make the Hessian fit how the gradient changed over a step: the mixture of Bofill (J. Comput.
/// Chem. 15, 1 (1994)), which may have any signs of eigenvalues, or Powell's damped BFGS (Math.
/// Program. 14, 224 (1978)), which keeps them positive.
void bofillUpdate(Eigen::MatrixXd &hessian, const Eigen::VectorXd &step,
                  const Eigen::VectorXd &gradientChange);
void dampedBfgsUpdate(Eigen::MatrixXd &hessian, const Eigen::VectorXd &step,
                      const Eigen::VectorXd &gradientChange);

/// The same with the absolute values of its eigenvalues, the lowest at the floor.
Eigen::MatrixXd positiveHessian(const Eigen::MatrixXd &hessian, double floor);

/// A rough positive Hessian of a molecule near a minimum, without an evaluation: springs between
/// all pairs of atoms whose constants fall with distance beyond the sum of covalent radii, in the
/// manner of Lindh et al. (Chem. Phys. Lett. 241, 423 (1995)).
Eigen::MatrixXd modelHessian(const Species &species, const Eigen::VectorXd &coordinates);

} // namespace saddlefit::host
