#include "host/reactions/rigid_move.hpp"

#include <Eigen/SVD>

namespace saddlefit::host {

Eigen::Isometry3d nearestMove(std::span<const Eigen::Vector3d> points,
                              std::span<const Eigen::Vector3d> targets,
                              std::span<const double> weights) {
    Eigen::Vector3d from = Eigen::Vector3d::Zero(), to = Eigen::Vector3d::Zero();
    double sum = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        from += weights[i] * points[i];
        to += weights[i] * targets[i];
        sum += weights[i];
    }
    Eigen::Isometry3d move = Eigen::Isometry3d::Identity();
    if (sum <= 0.0) return move;
    from /= sum;
    to /= sum;
    Eigen::Matrix3d covariance = Eigen::Matrix3d::Zero();
    for (std::size_t i = 0; i < points.size(); ++i)
        covariance += weights[i] * (targets[i] - to) * (points[i] - from).transpose();
    const Eigen::JacobiSVD<Eigen::Matrix3d> svd(covariance,
                                                Eigen::ComputeFullU | Eigen::ComputeFullV);
    Eigen::Vector3d signs = Eigen::Vector3d::Ones();
    if ((svd.matrixU() * svd.matrixV().transpose()).determinant() < 0) signs.z() = -1;
    move.linear() = svd.matrixU() * signs.asDiagonal() * svd.matrixV().transpose();
    move.translation() = to - move.linear() * from;
    return move;
}

} // namespace saddlefit::host
