#include "host/saddle/path.hpp"

#include "host/saddle/internal_space.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace saddlefit::host {

namespace {

constexpr int mostIterations = 60;
constexpr double longestStep = 0.3;      // bohr
constexpr double shortestDistance = 0.5; // bohr; no wanted distance weighs more than one so short

/// The weighed errors of all distances, and how they change with the coordinates.
struct DistanceErrors {
    Eigen::VectorXd values;
    Eigen::MatrixXd slopes;
};

Eigen::VectorXd distancesIn(const Eigen::VectorXd &x) {
    const Eigen::Index atoms = x.size() / 3;
    Eigen::VectorXd distances(atoms * (atoms - 1) / 2);
    Eigen::Index row = 0;
    for (Eigen::Index a = 0; a < atoms; ++a) {
        for (Eigen::Index b = a + 1; b < atoms; ++b)
            distances[row++] = (x.segment<3>(3 * b) - x.segment<3>(3 * a)).norm();
    }
    return distances;
}

DistanceErrors errorsOf(const Eigen::VectorXd &x, const Eigen::VectorXd &wanted) {
    const Eigen::Index atoms = x.size() / 3;
    DistanceErrors errors{Eigen::VectorXd(wanted.size()),
                          Eigen::MatrixXd::Zero(wanted.size(), x.size())};
    Eigen::Index row = 0;
    for (Eigen::Index a = 0; a < atoms; ++a) {
        for (Eigen::Index b = a + 1; b < atoms; ++b, ++row) {
            const Eigen::Vector3d between = x.segment<3>(3 * b) - x.segment<3>(3 * a);
            const double distance = std::max(between.norm(), 1e-6);
            const double weight = std::pow(std::max(wanted[row], shortestDistance), -2);
            errors.values[row] = weight * (distance - wanted[row]);
            errors.slopes.block<1, 3>(row, 3 * b) = weight / distance * between.transpose();
            errors.slopes.block<1, 3>(row, 3 * a) = -weight / distance * between.transpose();
        }
    }
    return errors;
}

Eigen::VectorXd fitted(Eigen::VectorXd x, const Eigen::VectorXd &wanted) {
    double damping = 1e-3;
    auto errors = errorsOf(x, wanted);
    for (int i = 0; i < mostIterations && damping < 1e6; ++i) {
        const Eigen::VectorXd slope = errors.slopes.transpose() * errors.values;
        if (slope.lpNorm<Eigen::Infinity>() < 1e-7) break;
        Eigen::MatrixXd normal = errors.slopes.transpose() * errors.slopes;
        normal.diagonal().array() += damping;
        Eigen::VectorXd step = -normal.ldlt().solve(slope);
        if (step.norm() > longestStep) step *= longestStep / step.norm();
        auto next = errorsOf(x + step, wanted);
        if (next.values.squaredNorm() >= errors.values.squaredNorm()) {
            damping *= 10.0;
            continue;
        }
        damping = std::max(damping / 5.0, 1e-9);
        x += step;
        errors = std::move(next);
    }
    return x;
}

/// Where the parabola through three points, evenly apart, is highest: -0.5 to 0.5 from the middle
/// one.
double vertexOf(double before, double middle, double after) {
    const double curvature = before - 2.0 * middle + after;
    return std::abs(curvature) < 1e-12 ? 0.0
                                       : std::clamp(0.5 * (before - after) / curvature, -0.5, 0.5);
}

} // namespace

std::vector<Eigen::VectorXd> interpolatedPath(const Eigen::VectorXd &from,
                                              const Eigen::VectorXd &to, int innerPoints) {
    const auto onto = superposed(to, from);
    const Eigen::VectorXd near = distancesIn(from), far = distancesIn(onto);
    std::vector<Eigen::VectorXd> path{from};
    for (int i = 1; i <= innerPoints; ++i) {
        const double share = i / (innerPoints + 1.0);
        const auto point =
            fitted((1.0 - share) * from + share * onto, (1.0 - share) * near + share * far);
        path.push_back(superposed(point, path.back()));
    }
    path.push_back(superposed(onto, path.back()));
    return path;
}

std::vector<double> energiesAlong(EnergySurface &surface,
                                  const std::vector<Eigen::VectorXd> &path) {
    std::vector<std::optional<double>> known(path.size());
    std::optional<Error> last;
    for (std::size_t i = 1; i + 1 < path.size(); ++i) {
        try {
            known[i] = surface.at(path[i]).energy;
        } catch (const Error &error) {
            last = error;
        }
    }
    const auto highest = *std::max_element(known.begin(), known.end()); // nothing is less
    if (!highest) throw last.value_or(Error(ErrorKind::program, "the path is empty"));
    std::vector<double> energies(path.size(), -std::numeric_limits<double>::infinity());
    for (std::size_t i = 1; i + 1 < path.size(); ++i)
        energies[i] = known[i].value_or(*highest);
    return energies;
}

std::vector<PathPeak> peaksOf(const std::vector<Eigen::VectorXd> &path,
                              const std::vector<double> &energies) {
    std::vector<PathPeak> peaks;
    for (std::size_t i = 1; i + 1 < path.size(); ++i) {
        if (energies[i] < energies[i - 1] || energies[i] <= energies[i + 1]) continue;
        const bool inside = i > 1 && i + 2 < path.size();
        const double at = inside ? vertexOf(energies[i - 1], energies[i], energies[i + 1]) : 0.0;
        const Eigen::VectorXd &next = at > 0.0 ? path[i + 1] : path[i - 1];
        const Eigen::VectorXd tangent = path[i + 1] - path[i - 1];
        peaks.push_back(
            {path[i] + std::abs(at) * (next - path[i]), tangent.normalized(), energies[i]});
    }
    std::stable_sort(peaks.begin(), peaks.end(),
                     [](const auto &a, const auto &b) { return a.energy > b.energy; });
    return peaks;
}

} // namespace saddlefit::host
