#include "host/saddle/rational_step.hpp"

#include <algorithm>
#include <limits>

namespace saddlefit::host {

namespace {

/// Where a function that rises from below to above zero between the two does so.
template <typename Rising> double rootBetween(double low, double high, const Rising &rising) {
    constexpr int halvings = 100;
    for (int i = 0; i < halvings; ++i) {
        const double middle = 0.5 * (low + high);
        (rising(middle) < 0.0 ? low : high) = middle;
    }
    return low;
}

} // namespace

Eigen::VectorXd rationalStep(const Eigen::VectorXd &curvatures, const Eigen::VectorXd &components,
                             double longest) {
    const Eigen::ArrayXd b = curvatures, f = components;
    // Just below the pole, so that a component of zero there does not divide zero by zero.
    const double top = std::min(b.minCoeff(), 0.0) - 1e-12;
    const auto stepFor = [&](double mu) -> Eigen::ArrayXd { return -f / (b - mu); };

    // The eigenvalue is where mu + sum f^2/(b - mu) passes zero, below all poles.
    const double mu = rootBetween(top - components.norm() - 1.0, top, [&](double trial) {
        return trial + (f * f / (b - trial)).sum();
    });
    if (stepFor(mu).matrix().norm() <= longest) return stepFor(mu);
    const double bottom = mu - components.norm() / longest - 1.0;
    return stepFor(rootBetween(
        bottom, mu, [&](double trial) { return stepFor(trial).matrix().norm() - longest; }));
}

} // namespace saddlefit::host
