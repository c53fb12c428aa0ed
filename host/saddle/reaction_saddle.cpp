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

/// Makes the summary of a report.
class Summary {
public:
    Summary(const SaddleReport &report, const BondGraph &reactant)
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
        if (!point.converged) return summary;
        summary.energy = point.energy;
        summary.wavenumber = point.vibrations.wavenumbers[0];
        summary.modeShare = result.modeShare;
        if (!point.isFirstOrder()) return summary;
        summary.coordinates = inAngstrom(point.coordinates);
        for (std::size_t end = 0; end < result.ends.size(); ++end)
            summary.ends.push_back(endOf(index, end));
        return summary;
    }

    SaddleEnd endOf(std::size_t index, std::size_t end) const {
        const auto &result = report_.attempts[index].result;
        const auto &[minimum, bonds] = result.ends[end];
        auto changed = bondsChanged(reactant_, bonds);
        return {sideWord(index, result.sides[end]), minimum.value.energy, std::move(changed.made),
                std::move(changed.broken), inAngstrom(minimum.coordinates)};
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
    const BondGraph &reactant_;
};

} // namespace

const SaddleTry *ReactionSaddle::found() const {
    if (shown >= attempts.size() || attempts[shown].coordinates.empty()) return nullptr;
    return &attempts[shown];
}

void requireMethod(const std::string &method) {
    xtbSurface({{1, 1}, 0, 0}, methodNamed(method));
}

ReactionSaddle saddleOf(const Reaction &reaction, const std::vector<StartGeometry> &starts,
                        int charge, int unpaired, const SaddleOptions &options) {
    const auto surface =
        xtbSurface(speciesOf(reaction.reactant, charge, unpaired), methodNamed(options.method));
    ReactionSides sides(*surface, drawnSide(reaction.reactant), drawnSide(reaction.product));
    LadderOptions ladder;
    ladder.attempts = options.attempts;
    ladder.steps = options.steps;
    ladder.attempt.descent = options.check;

    ReactionSaddle saddle;
    saddle.level = surface->level();
    saddle.check = options.check;
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
    Summary(report, sides.reactant.drawn().bonds).fill(saddle);
    return saddle;
}

} // namespace saddlefit::host
