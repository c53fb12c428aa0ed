#pragma once

#include "host/saddle/energy.hpp"

namespace saddlefit::host {

/// Harmonic vibrations, softest first. Translations and rotations are not among them.
struct Vibrations {
    Eigen::VectorXd wavenumbers; ///< cm-1; imaginary ones are negative
    Eigen::MatrixXd modes; ///< displacements in Cartesian coordinates, of length 1, as columns

    /// How many modes are imaginary, but for what is noise: below -30 cm-1.
    int order() const;
};

/// Of the mass-weighted Hessian without rigid motions. A species without atoms has masses of 1
/// dalton per three coordinates.
Vibrations vibrationsOf(const Species &species, const Eigen::VectorXd &coordinates,
                        const Eigen::MatrixXd &hessian);

} // namespace saddlefit::host
