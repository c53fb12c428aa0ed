#include "host/saddle/saddle_mode.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

// Curvatures in hartree per square bohr, overlaps of vectors of length 1.
constexpr double negativeBelow = -1e-3;
constexpr double fullyNegative = 0.02;
constexpr double leastShare = 0.15;
constexpr double leastShareOfOnlyOne = 0.1;
constexpr double softness = 0.05;
constexpr double lostBelow = 0.1;
constexpr double foundAbove = 0.2;
constexpr double bentTo = 0.03;

Eigen::ArrayXd sharesIn(const Spectrum &spectrum, const Eigen::VectorXd &direction) {
    return (spectrum.vectors.transpose() * direction).array().abs();
}

Eigen::Index negativeCount(const Spectrum &spectrum) {
    return (spectrum.values.array() < negativeBelow).count();
}

Eigen::Index firstMode(const Spectrum &spectrum, const Eigen::VectorXd &direction) {
    if (direction.isZero()) return 0;
    if (const auto found = reactingMode(spectrum, direction)) return *found;
    Eigen::Index best = 0;
    (sharesIn(spectrum, direction).square() / (softness + spectrum.values.array().max(0.0)))
        .maxCoeff(&best);
    return best;
}

Eigen::Index nextMode(const Spectrum &spectrum, const Eigen::VectorXd &direction,
                      const Eigen::VectorXd &before) {
    Eigen::Index best = 0;
    sharesIn(spectrum, before).maxCoeff(&best);
    if (spectrum.values[best] < negativeBelow || direction.isZero()) return best;
    return reactingMode(spectrum, direction).value_or(best);
}

FollowedMode bentAlong(const Eigen::MatrixXd &hessian, const Eigen::VectorXd &direction) {
    const double curvature = direction.dot(hessian * direction);
    auto spectrum = spectrumOf(hessian - (curvature + bentTo) * direction * direction.transpose());
    const auto negative = std::max<Eigen::Index>((spectrum.values.array() < 0.0).count(), 1);
    Eigen::Index best = 0;
    sharesIn(spectrum, direction).head(negative).maxCoeff(&best);
    return {std::move(spectrum), best};
}

} // namespace

Spectrum spectrumOf(const Eigen::MatrixXd &symmetric) {
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(symmetric);
    return {solver.eigenvalues(), solver.eigenvectors()};
}

std::optional<Eigen::Index> reactingMode(const Spectrum &spectrum,
                                         const Eigen::VectorXd &direction) {
    const Eigen::Index count = negativeCount(spectrum);
    if (count == 0) return std::nullopt;
    const Eigen::ArrayXd shares = sharesIn(spectrum, direction).head(count);
    const Eigen::ArrayXd depth = (-spectrum.values.head(count).array() / fullyNegative).min(1.0);
    Eigen::Index best = 0;
    (shares * depth.sqrt()).maxCoeff(&best);
    const double needed = count == 1 ? leastShareOfOnlyOne : leastShare;
    if (shares[best] <= needed) return std::nullopt;
    return best;
}

FollowedMode chooseMode(const Eigen::MatrixXd &hessian, const Eigen::VectorXd &direction,
                        const std::optional<Eigen::VectorXd> &before) {
    auto spectrum = spectrumOf(hessian);
    const auto chosen =
        before ? nextMode(spectrum, direction, *before) : firstMode(spectrum, direction);
    const Eigen::ArrayXd shares = sharesIn(spectrum, direction);
    if (direction.isZero() || shares[chosen] >= lostBelow) return {std::move(spectrum), chosen};

    const Eigen::Index count = negativeCount(spectrum);
    Eigen::Index other = 0;
    if (count > 0 && shares.head(count).maxCoeff(&other) > foundAbove)
        return {std::move(spectrum), other};
    return bentAlong(hessian, direction);
}

} // namespace saddlefit::host
