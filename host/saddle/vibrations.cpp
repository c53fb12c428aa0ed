#include "host/saddle/vibrations.hpp"

#include "host/saddle/criteria.hpp"
#include "host/saddle/internal_space.hpp"
#include "host/saddle/mass_weights.hpp"
#include "host/saddle/saddle_mode.hpp"
#include "host/structures/units.hpp"

#include <cmath>

namespace saddlefit::host {

int Vibrations::order() const {
    return static_cast<int>((wavenumbers.array() < firstImaginary).count());
}

Vibrations vibrationsOf(const Species &species, const Eigen::VectorXd &coordinates,
                        const Eigen::MatrixXd &hessian) {
    const Eigen::VectorXd roots =
        std::sqrt(electronMassesPerDalton) * massRoots(species, coordinates.size());
    const Eigen::VectorXd inverse = roots.cwiseInverse();
    const auto basis = internalBasis(species, coordinates, roots);
    const Eigen::MatrixXd weighted = inverse.asDiagonal() * hessian * inverse.asDiagonal();
    const auto spectrum = spectrumOf(basis.transpose() * weighted * basis);

    Vibrations vibrations;
    vibrations.wavenumbers = spectrum.values.unaryExpr([](double value) {
        return std::copysign(std::sqrt(std::abs(value)), value) * wavenumbersPerHartree;
    });
    vibrations.modes = inverse.asDiagonal() * (basis * spectrum.vectors);
    vibrations.modes.colwise().normalize();
    return vibrations;
}

} // namespace saddlefit::host
