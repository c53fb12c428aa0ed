#pragma once

#include "host/structures/structure.hpp"

#include <Eigen/Geometry>
#include <span>

namespace saddlefit::host {

inline Eigen::Vector3d vectorOf(const Position &at) {
    return {at.x, at.y, at.z};
}

inline Position positionOf(const Eigen::Vector3d &at) {
    return {at.x(), at.y(), at.z()};
}

/// The rotation and translation that bring points nearest to their targets, by weights (Kabsch,
/// Acta Cryst. A 32, 922 (1976)). No point is mirrored.
Eigen::Isometry3d nearestMove(std::span<const Eigen::Vector3d> points,
                              std::span<const Eigen::Vector3d> targets,
                              std::span<const double> weights);

} // namespace saddlefit::host
