#include "host/saddle/minimise.hpp"

#include "host/saddle/hessian.hpp"
#include "host/saddle/internal_space.hpp"
#include "host/saddle/rational_step.hpp"
#include "host/saddle/saddle_mode.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

constexpr double firstRadius = 0.2; // bohr
constexpr double smallestRadius = 0.01;
constexpr double allowedRise = 1e-6; // hartree; noise of the method
constexpr double shrinkOnRejection = 0.4;

class Descent {
public:
    Descent(EnergySurface &surface, const Eigen::VectorXd &start, Eigen::MatrixXd hessian,
            const MinimiseOptions &options)
        : surface_(surface),
          options_(options),
          x_(start),
          hessian_(std::move(hessian)),
          radius_(std::min(firstRadius, options.longestStep)) {
        here_ = surface_.at(x_);
    }

    Minimum run() {
        int steps = 0;
        for (; steps < options_.mostSteps; ++steps) {
            if (steps >= options_.leastSteps && isStationary()) break;
            if (!takeStep()) break;
        }
        return {isStationary(), x_, here_, steps};
    }

private:
    bool isStationary() const {
        return here_.gradient.lpNorm<Eigen::Infinity>() < options_.largestGradient;
    }

    Eigen::VectorXd proposedStep() const {
        const auto basis = internalBasis(surface_.species(), x_);
        const auto spectrum = spectrumOf(basis.transpose() * hessian_ * basis);
        const Eigen::VectorXd components =
            spectrum.vectors.transpose() * (basis.transpose() * here_.gradient);
        return basis * (spectrum.vectors * rationalStep(spectrum.values, components, radius_));
    }

    /// False where no step leads further down.
    bool takeStep() {
        const Eigen::VectorXd step = proposedStep();
        const bool isShort = step.norm() <= smallestRadius;
        Evaluation there;
        try {
            there = surface_.at(x_ + step);
        } catch (const Error &) {
            if (isShort) throw;
            radius_ = shrinkOnRejection * step.norm();
            return true;
        }
        const double expected = here_.gradient.dot(step) + 0.5 * step.dot(hessian_ * step);
        const double change = there.energy - here_.energy;
        dampedBfgsUpdate(hessian_, step, there.gradient - here_.gradient);
        if (change > allowedRise) {
            radius_ = std::max(shrinkOnRejection * step.norm(), 0.5 * smallestRadius);
            return !isShort;
        }
        adaptRadius(change / std::min(expected, -1e-12), step.norm());
        x_ += step;
        here_ = std::move(there);
        return true;
    }

    void adaptRadius(double ratio, double length) {
        if (ratio < 0.25)
            radius_ *= 0.5;
        else if (ratio > 0.7 && length > 0.8 * radius_)
            radius_ *= 1.5;
        radius_ =
            std::clamp(radius_, smallestRadius, std::max(options_.longestStep, smallestRadius));
    }

    EnergySurface &surface_;
    const MinimiseOptions &options_;
    Eigen::VectorXd x_;
    Evaluation here_;
    Eigen::MatrixXd hessian_;
    double radius_;
};

} // namespace

Minimum minimise(EnergySurface &surface, const Eigen::VectorXd &start, Eigen::MatrixXd hessian,
                 const MinimiseOptions &options) {
    return Descent(surface, start, std::move(hessian), options).run();
}

Minimum relax(EnergySurface &surface, const Eigen::VectorXd &start,
              const MinimiseOptions &options) {
    return minimise(surface, start, modelHessian(surface.species(), start), options);
}

} // namespace saddlefit::host
