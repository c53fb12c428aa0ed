#include "host/saddle/reaction_saddle.hpp"

#include "host/saddle/ladder.hpp"
#include "host/saddle/positions.hpp"
#include "host/structures/units.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace saddlefit::host {

namespace {

constexpr double flatBarrier = 1.0; // kcal/mol
constexpr double flatMode = 100.0;  // cm-1

DrawnSide drawnSide(const SaddleSide &side) {
    return {inBohr(side.coordinates), {side.bonds.begin(), side.bonds.end()}};
}

SaddleSide sideOf(const Structure &structure) {
    SaddleSide side;
    for (const auto &atom : structure.atoms)
        side.coordinates.push_back(atom.position);
    if (!hasCoordinates(structure.atoms)) side.coordinates.clear();
    for (const auto &bond : structure.bonds)
        if (bond.type != 0) side.bonds.push_back(orderedPair(bond.atom1, bond.atom2));
    return side;
}

/// Makes the summary of a report.
class Summary {
public:
    /// @param reactant the bonds that those of ends are told by; null: the first end's
    Summary(const SaddleReport &report, const BondGraph *reactant)
        : report_(report), reactant_(reactant) {}

    void fill(ReactionSaddle &saddle) const {
        saddle.outcome = outcomeWords(report_);
        saddle.reason = report_.reason;
        saddle.verified = !report_.route.empty();
        saddle.gradients = report_.gradients;
        saddle.route = report_.route;
        if (report_.route.size() > 1) saddle.depth = report_.depth * kcalPerHartree;
        for (std::size_t i = 0; i < report_.attempts.size(); ++i) {
            saddle.attempts.push_back(summaryOf(i));
            if (&report_.attempts[i] == &report_.shown()) saddle.shown = i;
        }
        if (const auto *found = saddle.found()) describe(*found, saddle);
    }

private:
    SaddleTry summaryOf(std::size_t index) const {
        const auto &[start, result] = report_.attempts[index];
        const auto &point = result.saddle;
        SaddleTry summary;
        summary.start = start;
        summary.outcome = nameOf(result.outcome);
        summary.reason = result.reason;
        summary.gradients = result.gradients;
        summary.toSaddle = point.gradients;
        if (point.vibrations.wavenumbers.size() == 0) return summary;
        summary.energy = point.energy;
        summary.gradient = point.largestGradient;
        summary.wavenumber = point.vibrations.wavenumbers[0];
        summary.imaginaryModes = point.vibrations.order();
        summary.modeShare = result.modeShare;
        if (!point.isFirstOrder()) return summary;
        summary.coordinates = inAngstrom(point.coordinates);
        summary.hessian.assign(point.hessian.data(), point.hessian.data() + point.hessian.size());
        for (std::size_t end = 0; end < result.ends.size(); ++end)
            summary.ends.push_back(endOf(index, end));
        return summary;
    }

    SaddleEnd endOf(std::size_t index, std::size_t end) const {
        const auto &result = report_.attempts[index].result;
        const auto &[minimum, bonds] = result.ends[end];
        auto changed = bondsChanged(reactant_ ? *reactant_ : result.ends.front().bonds, bonds);
        return {sideWord(index, result.sides[end]),
                minimum.value.energy,
                std::move(changed.made),
                std::move(changed.broken),
                inAngstrom(minimum.coordinates),
                {}};
    }

    /// A search that follows another lies between that one's wrong end, as its reactant, and the
    /// side that is missing there, as its product.
    std::string sideWord(std::size_t index, Side side) const {
        constexpr std::array words{"reactant", "product", "neither"};
        const auto &route = report_.route;
        const bool onRoute = std::find(route.begin(), route.end(), index) != route.end();
        const bool inSteps = onRoute && route.size() > 1;
        if (report_.attempts[index].start == "follow") {
            if (side == Side::reactant) return inSteps ? "intermediate" : "neither";
            if (side == Side::product) return report_.followsToReactant ? "reactant" : "product";
        }
        if (inSteps && side == Side::neither) return "intermediate";
        return words[static_cast<std::size_t>(side)];
    }

    void describe(const SaddleTry &shown, ReactionSaddle &saddle) const {
        saddle.flat = std::abs(*shown.wavenumber) < flatMode;
        for (const auto &end : shown.ends)
            if ((*shown.energy - end.energy) * kcalPerHartree < flatBarrier) saddle.flat = true;
        const auto first = saddle.route.empty() ? saddle.shown : saddle.route.front();
        for (const auto &end : saddle.attempts[first].ends)
            if (end.side == "reactant")
                saddle.barrier = (*shown.energy - end.energy) * kcalPerHartree;
    }

    const SaddleReport &report_;
    const BondGraph *reactant_;
};

std::unique_ptr<EnergySurface> surfaceFor(const SaddleTask &task, const SaddleOptions &options) {
    return surfaceOf({task.elements, task.charge, task.unpaired}, options.method);
}

AttemptOptions attemptOptions(const SaddleOptions &options) {
    AttemptOptions attempt;
    attempt.descent = options.check;
    attempt.search.largestGradient = options.largestGradient;
    return attempt;
}

ReactionSaddle emptyAnswer(const SaddleOptions &options) {
    ReactionSaddle saddle;
    saddle.level = options.method.name;
    saddle.check = options.check;
    return saddle;
}

ReactionSaddle summarised(const SaddleReport &report, const BondGraph *reactant,
                          const SaddleOptions &options) {
    auto saddle = emptyAnswer(options);
    Summary(report, reactant).fill(saddle);
    return saddle;
}

ReactionSaddle withoutChanges(const SaddleOptions &options) {
    auto saddle = emptyAnswer(options);
    saddle.outcome = nameOf(SaddleOutcome::failed);
    saddle.reason = "no bond is made or broken, so that the sides cannot be told apart by bonds";
    return saddle;
}

bool havePlaces(const SaddleTask &task) {
    return std::none_of(task.sides->begin(), task.sides->end(),
                        [](const SaddleSide &side) { return side.coordinates.empty(); });
}

} // namespace

SaddleTask saddleTask(const Reaction &reaction, std::vector<StartGeometry> starts, int charge,
                      int unpaired) {
    SaddleTask task{{}, charge, unpaired, {}, std::move(starts)};
    for (const auto &atom : reaction.reactant.atoms)
        task.elements.push_back(atom.element);
    task.sides = {sideOf(reaction.reactant), sideOf(reaction.product)};
    return task;
}

const SaddleTry *ReactionSaddle::found() const {
    if (shown >= attempts.size() || attempts[shown].coordinates.empty()) return nullptr;
    return &attempts[shown];
}

double shareInChangedBonds(const std::array<SaddleSide, 2> &sides,
                           const std::vector<Position> &positions,
                           const std::vector<Position> &displacements) {
    const auto changed = bondsChanged(drawnSide(sides[0]).bonds, drawnSide(sides[1]).bonds);
    return shareInBonds(changed, inBohr(positions), inBohr(displacements).normalized());
}

ReactionSaddle saddleOf(const SaddleTask &task, const SaddleOptions &options) {
    const auto surface = surfaceFor(task, options);
    std::vector<NamedStart> starts;
    for (const auto &[name, positions] : task.starts)
        starts.push_back({name, inBohr(positions)});
    LadderOptions ladder{attemptOptions(options), options.attempts, options.steps};
    if (!task.sides) {
        const auto attempt = attemptFrom(*surface, {starts.at(0).coordinates, {}, {}}, anyDirection,
                                         nullptr, ladder.attempt);
        return summarised(reportOf({starts[0].name, attempt}), nullptr, options);
    }
    ReactionSides sides(*surface, drawnSide(task.sides->front()), drawnSide(task.sides->back()));
    if (sides.changed.none()) return withoutChanges(options);
    if (!havePlaces(task)) ladder.attempts = ladder.steps = 1;
    const auto report = climbLadder(*surface, starts, sides, ladder);
    return summarised(report, &sides.reactant.drawn().bonds, options);
}

ReactionSaddle verificationOf(const SaddleTask &task, const SaddleOptions &options) {
    const auto surface = surfaceFor(task, options);
    const auto &start = task.starts.at(0);
    const auto judge = [&](ReactionSides *sides) {
        return reportOf({start.name, judged(*surface, inBohr(start.positions), sides,
                                            attemptOptions(options))});
    };
    if (!task.sides) return summarised(judge(nullptr), nullptr, options);
    ReactionSides sides(*surface, drawnSide(task.sides->front()), drawnSide(task.sides->back()));
    if (sides.changed.none()) return withoutChanges(options);
    return summarised(judge(&sides), &sides.reactant.drawn().bonds, options);
}

} // namespace saddlefit::host
