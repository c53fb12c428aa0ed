#pragma once

#include "host/structures/structure.hpp"

#include <Eigen/Dense>
#include <vector>

namespace saddlefit::host {

/// Positions, which are in angstrom, as coordinates in bohr: x, y, z by atom; and back.
Eigen::VectorXd inBohr(const std::vector<Position> &positions);
std::vector<Position> inAngstrom(const Eigen::VectorXd &coordinates);

} // namespace saddlefit::host
