#include "host/saddle/positions.hpp"

#include "host/structures/units.hpp"

namespace saddlefit::host {

Eigen::VectorXd inBohr(const std::vector<Position> &positions) {
    Eigen::VectorXd coordinates(static_cast<Eigen::Index>(3 * positions.size()));
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const auto &[x, y, z] = positions[i];
        coordinates.segment<3>(static_cast<Eigen::Index>(3 * i)) =
            Eigen::Vector3d(x, y, z) / angstromPerBohr;
    }
    return coordinates;
}

std::vector<Position> inAngstrom(const Eigen::VectorXd &coordinates) {
    std::vector<Position> positions;
    for (Eigen::Index i = 0; i + 2 < coordinates.size(); i += 3) {
        const Eigen::Vector3d at = angstromPerBohr * coordinates.segment<3>(i);
        positions.push_back({at.x(), at.y(), at.z()});
    }
    return positions;
}

} // namespace saddlefit::host
