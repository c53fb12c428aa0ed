#include "host/saddle/saddle_search.hpp"

#include "host/saddle/hessian.hpp"
#include "host/saddle/internal_space.hpp"
#include "host/saddle/rational_step.hpp"
#include "host/saddle/saddle_mode.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

constexpr int stepsPerHessian = 12;
constexpr double firstRadius = 0.2; // bohr, of all steps
constexpr double largestRadius = 0.3;
constexpr double smallestRadius = 0.02;
constexpr double shortStep = 0.05;  // is never taken back
constexpr int mostRejections = 3;   // in a row
constexpr double largestRise = 0.1; // hartree
constexpr double shrinkOnRejection = 0.4;
constexpr double noticeable = 1e-6; // hartree; of less no ratio can be made

class Search {
public:
    Search(EnergySurface &surface, const SaddleStart &start, const DirectionAt &direction)
        : surface_(surface), direction_(direction), x_(start.coordinates), mode_(start.mode) {
        here_ = surface_.at(x_);
        if (start.hessian) hessian_ = *start.hessian;
    }

    SaddleSearchResult run(const SaddleSearchOptions &options) {
        int steps = 0;
        while (!isStationary(options) && steps < options.mostSteps) {
            if (steps % stepsPerHessian == 0 && (steps > 0 || hessian_.size() == 0))
                hessian_ = forwardHessian(surface_, x_, here_.gradient);
            takeStep();
            ++steps;
        }
        if (hessian_.size() == 0) hessian_ = Eigen::MatrixXd::Zero(x_.size(), x_.size());
        return {isStationary(options),
                x_,
                here_,
                hessian_,
                mode_.value_or(Eigen::VectorXd::Zero(x_.size())),
                steps};
    }

private:
    bool isStationary(const SaddleSearchOptions &options) const {
        return here_.gradient.lpNorm<Eigen::Infinity>() < options.largestGradient;
    }

    Eigen::VectorXd proposedStep() {
        const auto basis = internalBasis(surface_.species(), x_);
        std::optional<Eigen::VectorXd> before;
        if (mode_) before = basis.transpose() * *mode_;
        const Eigen::VectorXd wanted = basis.transpose() * direction_(x_);
        const auto [spectrum, index] =
            chooseMode(basis.transpose() * hessian_ * basis, wanted, before);
        mode_ = basis * spectrum.vectors.col(index);

        Eigen::VectorXd curvatures = spectrum.values;
        Eigen::VectorXd components =
            spectrum.vectors.transpose() * (basis.transpose() * here_.gradient);
        curvatures[index] *= -1.0;
        components[index] *= -1.0;
        return basis * (spectrum.vectors * rationalStep(curvatures, components, radius_));
    }

    void takeStep() {
        const Eigen::VectorXd step = proposedStep();
        Evaluation there;
        try {
            there = surface_.at(x_ + step);
        } catch (const Error &) {
            if (++rejections_ >= mostRejections) throw;
            radius_ = std::max(shrinkOnRejection * step.norm(), smallestRadius);
            return;
        }
        const double expected = here_.gradient.dot(step) + 0.5 * step.dot(hessian_ * step);
        const double change = there.energy - here_.energy;
        const double ratio = std::abs(expected) < noticeable ? 1.0 : change / expected;
        bofillUpdate(hessian_, step, there.gradient - here_.gradient);
        if (isRejected(ratio, change, step.norm())) {
            ++rejections_;
            radius_ = std::max(shrinkOnRejection * step.norm(), smallestRadius);
            return;
        }
        rejections_ = 0;
        adaptRadius(ratio, step.norm());
        x_ += step;
        here_ = std::move(there);
    }

    bool isRejected(double ratio, double change, double length) const {
        if (rejections_ >= mostRejections || length <= shortStep) return false;
        return ratio < -1.0 || ratio > 3.0 || change > largestRise;
    }

    void adaptRadius(double ratio, double length) {
        if (ratio < 0.2 || ratio > 2.0)
            radius_ *= 0.5;
        else if (ratio > 0.6 && ratio < 1.5 && length > 0.8 * radius_)
            radius_ *= 1.5;
        radius_ = std::clamp(radius_, smallestRadius, largestRadius);
    }

    EnergySurface &surface_;
    const DirectionAt &direction_;
    Eigen::VectorXd x_;
    Evaluation here_;
    Eigen::MatrixXd hessian_;
    std::optional<Eigen::VectorXd> mode_;
    double radius_ = firstRadius;
    int rejections_ = 0; // in a row
};

} // namespace

Eigen::VectorXd anyDirection(const Eigen::VectorXd &coordinates) {
    return Eigen::VectorXd::Zero(coordinates.size());
}

SaddleSearchResult searchSaddle(EnergySurface &surface, const SaddleStart &start,
                                const DirectionAt &direction, const SaddleSearchOptions &options) {
    return Search(surface, start, direction).run(options);
}

} // namespace saddlefit::host
