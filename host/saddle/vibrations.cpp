#include "host/saddle/vibrations.hpp"

#include "host/saddle/criteria.hpp"
#include "host/saddle/internal_space.hpp"
#include "host/saddle/saddle_mode.hpp"
#include "host/structures/element_data.hpp"
#include "host/structures/units.hpp"

#include <cmath>

namespace saddlefit::host {

namespace {

Eigen::VectorXd massRoots(const Species &species, Eigen::Index size) {
    Eigen::VectorXd roots = Eigen::VectorXd::Constant(size, std::sqrt(electronMassesPerDalton));
    for (std::size_t atom = 0; atom < species.elements.size(); ++atom) {
        roots.segment<3>(static_cast<Eigen::Index>(3 * atom)) *=
            std::sqrt(atomicWeight(species.elements[atom]));
    }
    return roots;
}

} // namespace

int Vibrations::order() const {
    return static_cast<int>((wavenumbers.array() < firstImaginary).count());
}

Vibrations vibrationsOf(const Species &species, const Eigen::VectorXd &coordinates,
                        const Eigen::MatrixXd &hessian) {
    const auto roots = massRoots(species, coordinates.size());
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
