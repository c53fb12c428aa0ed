#include "host/saddle/reaction_saddle.hpp"

#include "host/saddle/ladder.hpp"
#include "host/saddle/units.hpp"
#include "host/saddle/xtb_surface.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace saddlefit::host {

namespace {

constexpr double flatBarrier = 1.0; // kcal/mol
constexpr double flatMode = 100.0;  // cm-1

Eigen::VectorXd inBohr(const std::vector<Position> &positions) {
    Eigen::VectorXd coordinates(static_cast<Eigen::Index>(3 * positions.size()));
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const auto &[x, y, z] = positions[i];
        coordinates.segment<3>(static_cast<Eigen::Index>(3 * i)) =
            Eigen::Vector3d(x, y, z) / angstromPerBohr;
    }
    return coordinates;
}

std::vector<Position> inAngstrom(const Eigen::VectorXd &coordinates) {
    std::vector<Position> positions;
    for (Eigen::Index i = 0; i + 2 < coordinates.size(); i += 3) {
        const Eigen::Vector3d at = angstromPerBohr * coordinates.segment<3>(i);
        positions.push_back({at.x(), at.y(), at.z()});
    }
    return positions;
}

DrawnSide drawnSide(const Structure &structure) {
    std::vector<Position> positions;
    for (const auto &atom : structure.atoms)
        positions.push_back(atom.position);
    DrawnSide side{inBohr(positions), {}};
    for (const auto &bond : structure.bonds)
        if (bond.type != 0) side.bonds.insert(orderedPair(bond.atom1, bond.atom2));
    return side;
}

Species speciesOf(const Structure &structure, int charge, int unpaired) {
    Species species{{}, charge, unpaired};
    for (const auto &atom : structure.atoms)
        species.elements.push_back(atom.element);
    return species;
}

XtbMethod methodNamed(const std::string &name) {
    for (const auto method : {XtbMethod::gfn2, XtbMethod::gfn1, XtbMethod::gfnff})
        if (name == nameOf(method)) return method;
    throw Error("\"" + name + "\" is no method for saddle points; give gfn2, gfn1 or gfnff");
}

const char *wordFor(Side side) {
    constexpr std::array words{"reactant", "product", "neither"};
    return words[static_cast<std::size_t>(side)];
}

SaddleTry summaryOf(const NamedAttempt &attempt) {
    const auto &[start, result] = attempt;
    SaddleTry summary{start, nameOf(result.outcome), {}, {}, result.gradients};
    if (result.saddle.converged) {
        summary.energy = result.saddle.energy;
        summary.wavenumber = result.saddle.vibrations.wavenumbers[0];
    }
    return summary;
}

void describeEnds(const Attempt &attempt, const BondGraph &reactant, ReactionSaddle &saddle) {
    for (std::size_t i = 0; i < attempt.ends.size(); ++i) {
        auto changed = bondsChanged(reactant, attempt.ends[i].bonds);
        saddle.ends.push_back({wordFor(attempt.sides[i]), attempt.ends[i].minimum.value.energy,
                               std::move(changed.made), std::move(changed.broken)});
        const double rise = attempt.saddle.energy - saddle.ends.back().energy;
        if (rise * kcalPerHartree < flatBarrier) saddle.flat = true;
    }
}

/// The energy of the reactant's end, where the shown saddle or the route's first one has it.
std::optional<double> reactantEnergy(const SaddleReport &report) {
    const auto &first =
        report.route.empty() ? report.shown() : report.attempts[report.route.front()];
    if (report.route.size() > 1 && first.start == "follow") {
        // That search was between the intermediate and the reactant, which was its product.
        const int end = first.result.endThatIs(Side::product);
        return first.result.ends[static_cast<std::size_t>(end)].minimum.value.energy;
    }
    const int end = first.result.endThatIs(Side::reactant);
    if (end < 0) return std::nullopt;
    return first.result.ends[static_cast<std::size_t>(end)].minimum.value.energy;
}

void describeSaddle(const SaddleReport &report, const BondGraph &reactant, ReactionSaddle &saddle) {
    const auto &attempt = report.shown().result;
    const auto &point = attempt.saddle;
    if (!point.converged) return;
    saddle.energy = point.energy;
    saddle.wavenumber = point.vibrations.wavenumbers[0];
    saddle.flat = std::abs(*saddle.wavenumber) < flatMode;
    saddle.modeShare = attempt.modeShare;
    saddle.coordinates = inAngstrom(point.coordinates);
    if (const auto from = reactantEnergy(report))
        saddle.barrier = (point.energy - *from) * kcalPerHartree;
    describeEnds(attempt, reactant, saddle);
}

} // namespace

ReactionSaddle saddleOf(const Reaction &reaction, const std::vector<StartGeometry> &starts,
                        int charge, int unpaired, const SaddleOptions &options) {
    const auto surface =
        xtbSurface(speciesOf(reaction.reactant, charge, unpaired), methodNamed(options.method));
    ReactionSides sides(*surface, drawnSide(reaction.reactant), drawnSide(reaction.product));
    LadderOptions ladder;
    ladder.attempts = options.attempts;
    ladder.steps = options.steps;
    ladder.attempt.descent = options.fine ? Descent::fine : Descent::quick;

    ReactionSaddle saddle;
    saddle.level = surface->level();
    saddle.check = nameOf(ladder.attempt.descent);
    if (sides.changed.none()) {
        saddle.outcome = nameOf(SaddleOutcome::failed);
        saddle.reason =
            "no bond is made or broken, so that the sides cannot be told apart by bonds";
        return saddle;
    }
    std::vector<NamedStart> named;
    for (const auto &[name, positions] : starts)
        named.push_back({name, inBohr(positions)});
    const auto report = climbLadder(*surface, named, sides, ladder);
    saddle.outcome = outcomeWords(report);
    saddle.reason = report.reason;
    saddle.verified = !report.route.empty();
    saddle.gradients = report.gradients;
    saddle.route = report.route;
    for (const auto &attempt : report.attempts)
        saddle.attempts.push_back(summaryOf(attempt));
    if (!report.attempts.empty()) describeSaddle(report, sides.reactant.drawn().bonds, saddle);
    return saddle;
}

} // namespace saddlefit::host
