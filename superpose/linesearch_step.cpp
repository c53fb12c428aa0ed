// The trial step of Moré and Thuente: a cubic and a quadratic (or secant) step through the data at
// both ends, of which the safer one is taken.
#include "saddlefit/linesearch.h"

#include <algorithm>
#include <cmath>

namespace {

/// With a bracket, a step goes at most this far to the other end: 0.66 in single precision.
constexpr double bracketFraction = 0.6600000262260437;

/// A step with the value and slope of the function there.
struct Sample {
    double step, value, slope;
};

struct Interval {
    Sample best, other;
    bool bracketed;
    double lower, upper; ///< bounds of the next step
};

struct Proposal {
    int kind; ///< 1 to 4
    bool bound;
    double step;
};

bool invalid(const Interval &interval, double trial) {
    const auto [low, high] = std::minmax(interval.best.step, interval.other.step);
    return (interval.bracketed && (trial <= low || trial >= high)) ||
           interval.best.slope * (trial - interval.best.step) >= 0 ||
           interval.upper < interval.lower;
}

/// The cubic through two samples: theta, and the discriminant from values scaled by s.
struct Cubic {
    double theta, scale, discriminant;

    /// `rise` is the difference of the values, `run` that of the steps.
    Cubic(double rise, double run, double slope, double trialSlope)
        : theta(3 * rise / run + slope + trialSlope),
          scale(std::max({std::abs(theta), std::abs(slope), std::abs(trialSlope)})),
          discriminant((theta / scale) * (theta / scale) - (slope / scale) * (trialSlope / scale)) {
    }
    double gamma(bool negated) const { return withSign(discriminant, negated); }
    /// Safe where the cubic has no minimum.
    double realGamma(bool negated) const { return withSign(std::max(0.0, discriminant), negated); }

private:
    double withSign(double radicand, bool negated) const {
        const double root = scale * std::sqrt(radicand);
        return negated ? -root : root;
    }
};

/// The zero of the line through two slopes, as a step from the trial.
double secantStep(const Sample &best, const Sample &trial) {
    return trial.step + (trial.slope / (trial.slope - best.slope)) * (best.step - trial.step);
}

Proposal higherValue(const Sample &best, const Sample &trial) {
    const double run = trial.step - best.step;
    const Cubic cubic(best.value - trial.value, run, best.slope, trial.slope);
    const double gamma = cubic.gamma(trial.step < best.step);
    const double p = (gamma - best.slope) + cubic.theta;
    const double q = ((gamma - best.slope) + gamma) + trial.slope;
    const double cubicStep = best.step + (p / q) * run;
    const double quadraticStep =
        best.step + ((best.slope / ((best.value - trial.value) / run + best.slope)) / 2) * run;
    const bool cubicNearer = std::abs(cubicStep - best.step) < std::abs(quadraticStep - best.step);
    return {1, true, cubicNearer ? cubicStep : cubicStep + (quadraticStep - cubicStep) / 2};
}

Proposal oppositeSlope(const Sample &best, const Sample &trial) {
    const Cubic cubic(best.value - trial.value, trial.step - best.step, best.slope, trial.slope);
    const double gamma = cubic.gamma(trial.step > best.step);
    const double p = (gamma - trial.slope) + cubic.theta;
    const double q = ((gamma - trial.slope) + gamma) + best.slope;
    const double cubicStep = trial.step + (p / q) * (best.step - trial.step);
    const double secant = secantStep(best, trial);
    const bool cubicFarther = std::abs(cubicStep - trial.step) > std::abs(secant - trial.step);
    return {2, false, cubicFarther ? cubicStep : secant};
}

double towardsBound(const Interval &interval, const Sample &trial) {
    return trial.step > interval.best.step ? interval.upper : interval.lower;
}

/// The cubic step counts only where the cubic tends to infinity in the direction of the step.
double flatteningCubicStep(const Interval &interval, const Sample &trial) {
    const Sample &best = interval.best;
    const Cubic cubic(best.value - trial.value, trial.step - best.step, best.slope, trial.slope);
    const double gamma = cubic.realGamma(trial.step > best.step);
    const double p = (gamma - trial.slope) + cubic.theta;
    const double q = (gamma + (best.slope - trial.slope)) + gamma;
    const double r = p / q;
    if (r < 0 && gamma != 0) return trial.step + r * (best.step - trial.step);
    return towardsBound(interval, trial);
}

Proposal flatterSlope(const Interval &interval, const Sample &trial) {
    const double cubicStep = flatteningCubicStep(interval, trial);
    const double secant = secantStep(interval.best, trial);
    const double toCubic = std::abs(trial.step - cubicStep);
    const double toSecant = std::abs(trial.step - secant);
    const bool takeCubic = interval.bracketed ? toCubic < toSecant : toCubic > toSecant;
    return {3, true, takeCubic ? cubicStep : secant};
}

Proposal steeperSlope(const Interval &interval, const Sample &trial) {
    if (!interval.bracketed) return {4, false, towardsBound(interval, trial)};
    const Sample &other = interval.other;
    const Cubic cubic(trial.value - other.value, other.step - trial.step, other.slope, trial.slope);
    const double gamma = cubic.gamma(trial.step > other.step);
    const double p = (gamma - trial.slope) + cubic.theta;
    const double q = ((gamma - trial.slope) + gamma) + other.slope;
    return {4, false, trial.step + (p / q) * (other.step - trial.step)};
}

Proposal propose(const Interval &interval, const Sample &trial) {
    const Sample &best = interval.best;
    const double relativeSign = trial.slope * (best.slope / std::abs(best.slope));
    if (trial.value > best.value) return higherValue(best, trial);
    if (relativeSign < 0) return oppositeSlope(best, trial);
    if (std::abs(trial.slope) < std::abs(best.slope)) return flatterSlope(interval, trial);
    return steeperSlope(interval, trial);
}

void updateInterval(Interval &interval, const Sample &trial, int kind) {
    if (kind == 1) {
        interval.other = trial;
    } else {
        if (kind == 2) interval.other = interval.best;
        interval.best = trial;
    }
    if (kind <= 2) interval.bracketed = true;
}

double safeguarded(const Interval &interval, const Proposal &proposal) {
    const double step = std::max(interval.lower, std::min(interval.upper, proposal.step));
    if (!interval.bracketed || !proposal.bound) return step;
    const double best = interval.best.step, other = interval.other.step;
    const double limit = best + bracketFraction * (other - best);
    return other > best ? std::min(limit, step) : std::max(limit, step);
}

void store(const Sample &sample, double *step, double *value, double *slope) {
    *step = sample.step;
    *value = sample.value;
    *slope = sample.slope;
}

} // namespace

void newstp_(double *stx, double *fx, double *dx, double *sty, double *fy, double *dy, double *stp,
             const double *fp, const double *dp, int *brackt, const double *stpmin,
             const double *stpmax, int *info) {
    Interval interval{{*stx, *fx, *dx}, {*sty, *fy, *dy}, (*brackt & 1) != 0, *stpmin, *stpmax};
    const Sample trial{*stp, *fp, *dp};
    *info = 0;
    if (invalid(interval, trial.step)) return;

    const Proposal proposal = propose(interval, trial);
    updateInterval(interval, trial, proposal.kind);
    *info = proposal.kind;
    store(interval.best, stx, fx, dx);
    store(interval.other, sty, fy, dy);
    if (proposal.kind <= 2) *brackt = 1;
    *stp = safeguarded(interval, proposal);
}
