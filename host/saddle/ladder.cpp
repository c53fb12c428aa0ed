#include "host/saddle/ladder.hpp"

#include "host/saddle/band.hpp"
#include "host/saddle/path.hpp"
#include "host/structures/units.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <optional>

namespace saddlefit::host {

namespace {

constexpr int scanPoints = 15;
constexpr double worthAnotherRoute = 5.0 / kcalPerHartree;

SaddleStart startAt(const Eigen::VectorXd &coordinates) {
    return {coordinates, std::nullopt, std::nullopt};
}

DirectionAt along(const Eigen::VectorXd &tangent) {
    return [tangent](const Eigen::VectorXd &) { return tangent; };
}

/// Of a geometry that was taken as it stands.
std::string gradientOf(const Attempt &attempt) {
    if (attempt.saddle.vibrations.wavenumbers.size() == 0) return {};
    return formatted("; the gradient has components of up to %.5f hartree per bohr",
                     attempt.saddle.largestGradient);
}

std::string reasonOf(const Attempt &attempt) {
    const bool isAnyReaction = attempt.ends.size() == 2 && attempt.sides[0] == attempt.sides[1] &&
                               attempt.ends[0].bonds == attempt.ends[1].bonds;
    if (!attempt.reason.empty()) return attempt.reason;
    switch (attempt.outcome) {
    case SaddleOutcome::otherEnds:
        return isAnyReaction ? "both ends of the saddle point have the same bonds"
                             : "the saddle point joins other minima than those drawn";
    case SaddleOutcome::higherOrder:
        return "the stationary point has more than one imaginary mode";
    case SaddleOutcome::notConverged:
        return attempt.saddle.converged ? "the stationary point has no imaginary mode"
                                        : "no stationary point was found" + gradientOf(attempt);
    default:
        return {};
    }
}

std::string reasonOf(const SaddleReport &report) {
    if (report.route.empty()) return reasonOf(report.shown().result);
    if (report.route.size() == 1) return {};
    constexpr double shoulder = 3.0, compound = 25.0; // kcal/mol
    const double depth = report.depth * kcalPerHartree;
    if (depth < shoulder) return "the intermediate is no more than a shoulder at this level";
    if (depth > compound) return "the intermediate is a compound of its own";
    return "the reaction goes over an intermediate";
}

void conclude(SaddleReport &report) {
    report.outcome = report.route.empty() ? report.shown().result.outcome : SaddleOutcome::verified;
    report.reason = reasonOf(report);
}

class Ladder {
public:
    Ladder(EnergySurface &surface, ReactionSides &sides, const LadderOptions &options)
        : surface_(surface), sides_(sides), options_(options) {}

    SaddleReport run(const std::vector<NamedStart> &starts) {
        const int before = surface_.gradientsUsed();
        for (std::size_t i = 0; i < starts.size() && !isVerified(); ++i) {
            searchFrom(starts[i].name, startAt(starts[i].coordinates), sides_.direction());
            if (i == 0) scan();
        }
        if (const auto other = lowestHalf(); other && options_.steps > 1) follow(*other);
        settle();
        report_.gradients = surface_.gradientsUsed() - before;
        return std::move(report_);
    }

private:
    bool isVerified() const { return verified().has_value(); }

    std::optional<std::size_t> verified() const {
        for (std::size_t i = 0; i < report_.attempts.size(); ++i) {
            const auto &[name, result] = report_.attempts[i];
            if (result.outcome == SaddleOutcome::verified && name != "follow") return i;
        }
        return std::nullopt;
    }

    void searchFrom(const std::string &name, const SaddleStart &start,
                    const DirectionAt &direction) {
        if (isVerified() || static_cast<int>(report_.attempts.size()) >= options_.attempts) return;
        report_.attempts.push_back(
            {name, attemptFrom(surface_, start, direction, &sides_, options_.attempt)});
    }

    /// Search from the highest point between both sides. A surface that fails on the way costs the
    /// attempt and nothing else.
    void scan() {
        if (isVerified() || static_cast<int>(report_.attempts.size()) >= options_.attempts) return;
        try {
            const auto path = interpolatedPath(sides_.reactant.relaxed().coordinates,
                                               sides_.product.relaxed().coordinates, scanPoints);
            const auto peaks = peaksOf(path, energiesAlong(surface_, path));
            if (!peaks.empty())
                searchFrom("scan", startAt(peaks.front().coordinates), along(peaks[0].tangent));
        } catch (const Error &error) {
            Attempt failed;
            failed.reason = error.what();
            report_.attempts.push_back({"scan", failed});
        }
    }

    /// The attempt with one right end and the lowest saddle, where it is worth to go on from it.
    std::optional<std::size_t> lowestHalf() const {
        std::optional<std::size_t> lowest;
        for (std::size_t i = 0; i < report_.attempts.size(); ++i) {
            const auto &result = report_.attempts[i].result;
            const bool half =
                result.outcome == SaddleOutcome::otherEnds &&
                (result.endThatIs(Side::reactant) >= 0) != (result.endThatIs(Side::product) >= 0) &&
                result.endThatIs(Side::neither) >= 0;
            if (half && (!lowest || result.saddle.energy < energyOf(*lowest))) lowest = i;
        }
        if (const auto one = verified(); one && lowest) {
            if (energyOf(*one) - energyOf(*lowest) < worthAnotherRoute) return std::nullopt;
        }
        return lowest;
    }

    double energyOf(std::size_t attempt) const {
        return report_.attempts[attempt].result.saddle.energy;
    }

    /// From the wrong end of an attempt on to the side that it misses.
    void follow(std::size_t half) {
        const Attempt first = report_.attempts[half].result;
        const bool missesProduct = first.endThatIs(Side::reactant) >= 0;
        const auto &wrong = first.ends[static_cast<std::size_t>(first.endThatIs(Side::neither))];
        auto &missing = missesProduct ? sides_.product : sides_.reactant;
        report_.followsToReactant = !missesProduct;
        ReactionSides step(surface_, {wrong.minimum.coordinates, wrong.bonds}, missing.drawn());
        try {
            const auto peaks =
                bandPeaks(surface_, wrong.minimum.coordinates, missing.relaxed().coordinates);
            for (const auto &peak : peaks) {
                auto attempt = attemptFrom(surface_, startAt(peak.coordinates), along(peak.tangent),
                                           &step, options_.attempt);
                const bool leadsOn = attempt.outcome == SaddleOutcome::verified;
                report_.attempts.push_back({"follow", std::move(attempt)});
                if (!leadsOn) continue;
                join(half, report_.attempts.size() - 1, missesProduct, wrong);
                return;
            }
        } catch (const Error &error) {
            Attempt failed;
            failed.reason = error.what();
            report_.attempts.push_back({"follow", failed});
        }
    }

    void join(std::size_t half, std::size_t rest, bool missesProduct, const End &between) {
        const double highest = std::max(energyOf(half), energyOf(rest));
        const double lowest = std::min(energyOf(half), energyOf(rest));
        if (const auto one = verified(); one && energyOf(*one) <= highest) return;
        report_.route = missesProduct ? std::vector{half, rest} : std::vector{rest, half};
        report_.depth = lowest - between.minimum.value.energy;
    }

    void settle() {
        if (report_.attempts.empty()) {
            report_.reason = "no attempt was allowed";
            return;
        }
        if (report_.route.empty()) {
            if (const auto one = verified()) report_.route = {*one};
        }
        conclude(report_);
    }

    EnergySurface &surface_;
    ReactionSides &sides_;
    const LadderOptions &options_;
    SaddleReport report_;
};

} // namespace

const NamedAttempt &SaddleReport::shown() const {
    const auto higher = [this](std::size_t a, std::size_t b) {
        return attempts[a].result.saddle.energy < attempts[b].result.saddle.energy;
    };
    if (!route.empty()) return attempts[*std::max_element(route.begin(), route.end(), higher)];
    const auto rank = [](const NamedAttempt &attempt) {
        return std::pair(attempt.start == "follow", attempt.result.outcome);
    };
    return *std::min_element(attempts.begin(), attempts.end(),
                             [&](const auto &a, const auto &b) { return rank(a) < rank(b); });
}

SaddleReport reportOf(NamedAttempt attempt) {
    SaddleReport report;
    report.gradients = attempt.result.gradients;
    if (attempt.result.outcome == SaddleOutcome::verified) report.route = {0};
    report.attempts.push_back(std::move(attempt));
    conclude(report);
    return report;
}

std::string outcomeWords(const SaddleReport &report) {
    if (report.route.size() < 2) return nameOf(report.outcome);
    return "verified in " + std::to_string(report.route.size()) + " steps";
}

SaddleReport climbLadder(EnergySurface &surface, const std::vector<NamedStart> &starts,
                         ReactionSides &sides, const LadderOptions &options) {
    return Ladder(surface, sides, options).run(starts);
}

} // namespace saddlefit::host
