#include "host/saddle/reaction_path.hpp"

#include "host/saddle/internal_space.hpp"
#include "host/saddle/intrinsic_path.hpp"
#include "host/saddle/positions.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

double distanceTo(const Eigen::VectorXd &target, const Eigen::VectorXd &coordinates) {
    return (superposed(coordinates, target) - target).norm();
}

void turnRound(std::vector<PathStep> &steps) {
    std::reverse(steps.begin(), steps.end());
    for (auto &step : steps)
        step.arc = -step.arc;
}

} // namespace

std::vector<PathPoint> pathOver(const SaddleTask &task, const SaddleTry &saddle,
                                const SaddleOptions &options) {
    const auto surface = surfaceOf({task.elements, task.charge, task.unpaired}, options.method);
    const auto size = static_cast<Eigen::Index>(3 * task.elements.size());
    const Eigen::MatrixXd hessian =
        Eigen::Map<const Eigen::MatrixXd>(saddle.hessian.data(), size, size);
    auto steps = intrinsicPath(*surface, inBohr(saddle.coordinates), hessian);
    if (saddle.ends.size() == 2) {
        const auto first = inBohr(saddle.ends.front().coordinates);
        if (distanceTo(first, steps.back().coordinates) <
            distanceTo(first, steps.front().coordinates))
            turnRound(steps);
    }
    std::vector<PathPoint> path;
    for (const auto &step : steps)
        path.push_back({step.arc, step.energy, inAngstrom(step.coordinates)});
    return path;
}

} // namespace saddlefit::host
