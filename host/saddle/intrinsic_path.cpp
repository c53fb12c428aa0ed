#include "host/saddle/intrinsic_path.hpp"

#include "host/saddle/hessian.hpp"
#include "host/saddle/internal_space.hpp"
#include "host/saddle/mass_weights.hpp"
#include "host/saddle/saddle_mode.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

/// The surface around a point, in mass-weighted coordinates.
struct Expansion {
    Eigen::VectorXd centre;
    double energy = 0.0;
    Eigen::VectorXd gradient;
    Eigen::MatrixXd hessian;

    double energyAt(const Eigen::VectorXd &q) const {
        const Eigen::VectorXd d = q - centre;
        return energy + gradient.dot(d) + 0.5 * d.dot(hessian * d);
    }
    Eigen::VectorXd gradientAt(const Eigen::VectorXd &q) const {
        return gradient + hessian * (q - centre);
    }
};

/// Of two expansions the nearer one counts more.
struct Interpolation {
    const Expansion &first, &second;

    Eigen::VectorXd gradientAt(const Eigen::VectorXd &q) const {
        const Eigen::VectorXd toFirst = q - first.centre, toSecond = q - second.centre;
        const double a = toFirst.squaredNorm(), b = toSecond.squaredNorm(), sum = a + b;
        const Eigen::VectorXd slope = 2.0 * (a * toSecond - b * toFirst) / (sum * sum);
        return (b * first.gradientAt(q) + a * second.gradientAt(q)) / sum +
               (first.energyAt(q) - second.energyAt(q)) * slope;
    }
};

/// Down the gradient for an arc, by the classical method of Runge and Kutta.
template <class Model>
Eigen::VectorXd descended(const Model &model, Eigen::VectorXd q, double arc) {
    constexpr int substeps = 40;
    const double h = arc / substeps;
    const auto direction = [&model](const Eigen::VectorXd &at) -> Eigen::VectorXd {
        return -model.gradientAt(at).normalized();
    };
    for (int i = 0; i < substeps; ++i) {
        const Eigen::VectorXd k1 = direction(q);
        const Eigen::VectorXd k2 = direction(q + 0.5 * h * k1);
        const Eigen::VectorXd k3 = direction(q + 0.5 * h * k2);
        const Eigen::VectorXd k4 = direction(q + h * k3);
        q += h / 6.0 * (k1 + 2.0 * k2 + 2.0 * k3 + k4);
    }
    return q;
}

class Walk {
public:
    Walk(EnergySurface &surface, const Eigen::VectorXd &roots, const PathOptions &options)
        : surface_(surface), roots_(roots), options_(options) {}

    /// From the saddle in a direction, without the saddle itself.
    std::vector<PathStep> down(const Expansion &saddle, const Eigen::VectorXd &direction) {
        steps_.clear();
        Eigen::VectorXd q = saddle.centre + options_.step * direction;
        auto here = expandedAt(q, saddle);
        while (keep(q, here) && static_cast<int>(steps_.size()) < options_.mostSteps) {
            const auto next = expandedAt(descended(here, q, options_.step), here);
            q = descended(Interpolation{here, next}, q, options_.step);
            here = next;
        }
        return std::move(steps_);
    }

private:
    Expansion expandedAt(const Eigen::VectorXd &q, const Expansion &before) {
        const auto value = surface_.at(q.cwiseQuotient(roots_));
        Expansion here{q, value.energy, value.gradient.cwiseQuotient(roots_), before.hessian};
        bofillUpdate(here.hessian, q - before.centre, here.gradient - before.gradient);
        return here;
    }

    /// Whether the path goes on behind this point.
    bool keep(const Eigen::VectorXd &q, const Expansion &here) {
        const double energy = here.energyAt(q);
        if (!steps_.empty() && energy > steps_.back().energy) return false;
        const double arc = options_.step * static_cast<double>(steps_.size() + 1);
        steps_.push_back({arc, energy, q.cwiseQuotient(roots_)});
        const Eigen::VectorXd gradient = here.gradient.cwiseProduct(roots_);
        return gradient.lpNorm<Eigen::Infinity>() > options_.largestGradient;
    }

    EnergySurface &surface_;
    const Eigen::VectorXd &roots_;
    const PathOptions &options_;
    std::vector<PathStep> steps_;
};

} // namespace

std::vector<PathStep> intrinsicPath(EnergySurface &surface, const Eigen::VectorXd &saddle,
                                    const Eigen::MatrixXd &hessian, const PathOptions &options) {
    const auto roots = massRoots(surface.species(), saddle.size());
    const Eigen::VectorXd inverse = roots.cwiseInverse();
    const Expansion top{saddle.cwiseProduct(roots), surface.at(saddle).energy,
                        Eigen::VectorXd::Zero(saddle.size()),
                        inverse.asDiagonal() * hessian * inverse.asDiagonal()};
    const auto basis = internalBasis(surface.species(), saddle, roots);
    const auto spectrum = spectrumOf(basis.transpose() * top.hessian * basis);
    const Eigen::VectorXd mode = basis * spectrum.vectors.col(0);

    Walk walk(surface, roots, options);
    auto path = walk.down(top, -mode);
    for (auto &step : path)
        step.arc = -step.arc;
    std::reverse(path.begin(), path.end());
    path.push_back({0.0, top.energy, saddle});
    const auto ahead = walk.down(top, mode);
    path.insert(path.end(), ahead.begin(), ahead.end());
    return path;
}

} // namespace saddlefit::host
