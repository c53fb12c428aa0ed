#pragma once

#include "host/saddle/energy.hpp"

namespace saddlefit::host {

/// Orthonormal columns that span what is left of the displacements of all atoms without
/// translations and rotations: 3N - 6 of them, or 3N - 5 where the atoms stand in line. With
/// weights (per coordinate, the roots of the masses) those are of the weighted coordinates. For a
/// species without atoms, the identity.
Eigen::MatrixXd internalBasis(const Species &species, const Eigen::VectorXd &coordinates);
Eigen::MatrixXd internalBasis(const Species &species, const Eigen::VectorXd &coordinates,
                              const Eigen::VectorXd &weights);

/// The structure, moved and turned onto another as well as least squares can, without reflection
/// (Kabsch, Acta Cryst. A 32, 922 (1976)).
Eigen::VectorXd superposed(const Eigen::VectorXd &moving, const Eigen::VectorXd &target);

} // namespace saddlefit::host
