#include "host/saddle/internal_space.hpp"

namespace saddlefit::host {

namespace {

using Points = Eigen::Matrix3Xd;

Points pointsOf(const Eigen::VectorXd &coordinates) {
    return Eigen::Map<const Points>(coordinates.data(), 3, coordinates.size() / 3);
}

// Relative to the largest column; below it atoms stand in line and do not turn about it.
constexpr double smallestRotation = 1e-5;

Eigen::MatrixXd rigidMotions(const Eigen::VectorXd &coordinates, const Eigen::VectorXd &weights) {
    const Eigen::Index atoms = coordinates.size() / 3;
    Points points = pointsOf(coordinates);
    points.colwise() -= Eigen::Vector3d(points.rowwise().mean());
    Eigen::MatrixXd motions(coordinates.size(), 6);
    for (int axis = 0; axis < 3; ++axis) {
        const Eigen::Vector3d unit = Eigen::Vector3d::Unit(axis);
        for (Eigen::Index atom = 0; atom < atoms; ++atom) {
            motions.block<3, 1>(3 * atom, axis) = unit;
            motions.block<3, 1>(3 * atom, 3 + axis) = unit.cross(Eigen::Vector3d(points.col(atom)));
        }
    }
    return weights.asDiagonal() * motions;
}

} // namespace

Eigen::MatrixXd internalBasis(const Species &species, const Eigen::VectorXd &coordinates,
                              const Eigen::VectorXd &weights) {
    const Eigen::Index size = coordinates.size();
    if (species.elements.empty()) return Eigen::MatrixXd::Identity(size, size);
    Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(rigidMotions(coordinates, weights));
    qr.setThreshold(smallestRotation);
    const Eigen::MatrixXd all = qr.householderQ() * Eigen::MatrixXd::Identity(size, size);
    return all.rightCols(size - qr.rank());
}

Eigen::MatrixXd internalBasis(const Species &species, const Eigen::VectorXd &coordinates) {
    return internalBasis(species, coordinates, Eigen::VectorXd::Ones(coordinates.size()));
}

Eigen::VectorXd superposed(const Eigen::VectorXd &moving, const Eigen::VectorXd &target) {
    Points from = pointsOf(moving);
    Points onto = pointsOf(target);
    from.colwise() -= Eigen::Vector3d(from.rowwise().mean());
    const Eigen::Vector3d centre = onto.rowwise().mean();
    onto.colwise() -= centre;
    const Eigen::Matrix3d covariance = from * onto.transpose();
    const Eigen::JacobiSVD<Eigen::Matrix3d> svd(covariance,
                                                Eigen::ComputeFullU | Eigen::ComputeFullV);
    const double hand = (svd.matrixU() * svd.matrixV()).determinant() < 0 ? -1.0 : 1.0;
    const Eigen::Matrix3d turn =
        svd.matrixV() * Eigen::Vector3d(1, 1, hand).asDiagonal() * svd.matrixU().transpose();
    Points moved = turn * from;
    moved.colwise() += centre;
    return Eigen::Map<const Eigen::VectorXd>(moved.data(), moved.size());
}

} // namespace saddlefit::host
