#include "host/saddle/hessian.hpp"

#include "host/saddle/internal_space.hpp"
#include "host/structures/element_data.hpp"

#include <cmath>

namespace saddlefit::host {

namespace {

constexpr double displacement = 0.01; // bohr

Eigen::MatrixXd fromInternal(const Eigen::MatrixXd &basis, const Eigen::MatrixXd &columns) {
    const Eigen::MatrixXd inner = basis.transpose() * columns;
    return basis * (0.5 * (inner + inner.transpose())) * basis.transpose();
}

} // namespace

Eigen::MatrixXd forwardHessian(EnergySurface &surface, const Eigen::VectorXd &coordinates,
                               const Eigen::VectorXd &gradient) {
    const auto basis = internalBasis(surface.species(), coordinates);
    Eigen::MatrixXd columns(basis.rows(), basis.cols());
    for (Eigen::Index i = 0; i < basis.cols(); ++i) {
        const auto moved = surface.at(coordinates + displacement * basis.col(i));
        columns.col(i) = (moved.gradient - gradient) / displacement;
    }
    return fromInternal(basis, columns);
}

Eigen::MatrixXd centralHessian(EnergySurface &surface, const Eigen::VectorXd &coordinates) {
    const auto basis = internalBasis(surface.species(), coordinates);
    Eigen::MatrixXd columns(basis.rows(), basis.cols());
    for (Eigen::Index i = 0; i < basis.cols(); ++i) {
        const auto ahead = surface.at(coordinates + displacement * basis.col(i));
        const auto behind = surface.at(coordinates - displacement * basis.col(i));
        columns.col(i) = (ahead.gradient - behind.gradient) / (2.0 * displacement);
    }
    return fromInternal(basis, columns);
}

void bofillUpdate(Eigen::MatrixXd &hessian, const Eigen::VectorXd &step,
                  const Eigen::VectorXd &gradientChange) {
    const Eigen::VectorXd error = gradientChange - hessian * step;
    const double along = error.dot(step), squared = step.squaredNorm();
    const double errorSquared = error.squaredNorm();
    if (squared < 1e-20 || errorSquared < 1e-24) return;
    const double share = along * along / (errorSquared * squared);
    if (share > 1e-12) hessian += share / along * error * error.transpose();
    const Eigen::MatrixXd mixed = error * step.transpose();
    hessian += (1.0 - share) * ((mixed + mixed.transpose()) / squared -
                                along / (squared * squared) * step * step.transpose());
}

void dampedBfgsUpdate(Eigen::MatrixXd &hessian, const Eigen::VectorXd &step,
                      const Eigen::VectorXd &gradientChange) {
    constexpr double leastCurvature = 0.2; // of the present one, as Powell chose it
    const Eigen::VectorXd image = hessian * step;
    const double present = step.dot(image), found = step.dot(gradientChange);
    if (present < 1e-16) return;
    Eigen::VectorXd change = gradientChange;
    if (found < leastCurvature * present) {
        const double share = (1.0 - leastCurvature) * present / (present - found);
        change = share * gradientChange + (1.0 - share) * image;
    }
    hessian += change * change.transpose() / step.dot(change) - image * image.transpose() / present;
}

Eigen::MatrixXd positiveHessian(const Eigen::MatrixXd &hessian, double floor) {
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(hessian);
    const Eigen::VectorXd values = solver.eigenvalues().cwiseAbs().cwiseMax(floor);
    return solver.eigenvectors() * values.asDiagonal() * solver.eigenvectors().transpose();
}

Eigen::MatrixXd modelHessian(const Species &species, const Eigen::VectorXd &coordinates) {
    constexpr double bondStiffness = 0.35; // hartree per square bohr
    constexpr double decay = 0.8;          // per bohr
    constexpr double floor = 0.02;
    const Eigen::Index size = coordinates.size();
    Eigen::MatrixXd hessian = floor * Eigen::MatrixXd::Identity(size, size);
    for (Eigen::Index a = 0; a < size / 3; ++a) {
        for (Eigen::Index b = a + 1; b < size / 3; ++b) {
            const Eigen::Vector3d between =
                coordinates.segment<3>(3 * b) - coordinates.segment<3>(3 * a);
            const double usual = covalentRadius(species.elements[static_cast<std::size_t>(a)]) +
                                 covalentRadius(species.elements[static_cast<std::size_t>(b)]);
            const double excess = std::max(between.norm() - usual, 0.0);
            const Eigen::Vector3d unit = between.normalized();
            const Eigen::Matrix3d spring =
                bondStiffness * std::exp(-decay * excess) * unit * unit.transpose();
            hessian.block<3, 3>(3 * a, 3 * a) += spring;
            hessian.block<3, 3>(3 * b, 3 * b) += spring;
            hessian.block<3, 3>(3 * a, 3 * b) -= spring;
            hessian.block<3, 3>(3 * b, 3 * a) -= spring;
        }
    }
    return hessian;
}

} // namespace saddlefit::host
