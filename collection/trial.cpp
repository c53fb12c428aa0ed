#include "collection/trial.hpp"

#include "collection/reaction_hash.hpp"
#include "host/saddle/ends.hpp"
#include "host/saddle/xtb_surface.hpp"
#include "host/structures/units.hpp"

#include <algorithm>
#include <array>
#include <limits>

namespace saddlefit::collection {

namespace {

constexpr std::size_t conformersKept = 3;
constexpr std::size_t conformersTurned = 16;
constexpr double nearestAtoms = 0.45 / angstromPerBohr; // nearer ones make no start
constexpr double highestProduct = 125.0;                // kcal/mol above the reactant
constexpr double highestSaddle = 180.0;                 // kcal/mol above the lowest conformer
constexpr int searchSteps = 50;

/// Ends a trial's start, with the phrase to be counted.
struct NoStart {
    std::string why;
};

struct Relaxed {
    Eigen::VectorXd coordinates;
    double energy = 0.0;
    bool keptBonds = false;
};

Relaxed relaxedAtSurface(EnergySurface &surface, const LewisStructure &drawing,
                         const Eigen::VectorXd &coordinates) {
    const auto minimum = relax(surface, coordinates);
    return {minimum.coordinates, minimum.value.energy,
            bondGraph(surface.species(), minimum.coordinates) == graphOf(drawing.orders)};
}

/// Both sides as geometries, and where the search begins.
struct Start {
    Eigen::VectorXd reactant, product, between;
};

Eigen::VectorXd byForceField(const Species &species, const LewisStructure &drawing,
                             const Eigen::VectorXd &coordinates) {
    try {
        return relaxedByForceField(species, drawing.orders, coordinates);
    } catch (const Error &) {
        throw NoStart{"no force field"};
    }
}

/// Reactant and product follow from each other by the force field, so that they are as alike as
/// they can be. Where the surface does not know the product, one that was written by hand is tried
/// with the force field's.
Start startFrom(EnergySurface &surface, const Proposal &proposal, const Eigen::VectorXd &conformer,
                double reactantEnergy, Origin origin) {
    const auto &species = surface.species();
    const auto drawnProduct = byForceField(species, proposal.product, conformer);
    auto product = relaxedAtSurface(surface, proposal.product, drawnProduct);
    if (!product.keptBonds) {
        if (origin == Origin::enumeration) throw NoStart{"product does not keep its bonds"};
        product.coordinates = drawnProduct;
    } else if (kcalPerHartree * (product.energy - reactantEnergy) > highestProduct) {
        throw NoStart{"product too high"};
    }
    auto reactant = relaxedAtSurface(surface, proposal.reactant,
                                     byForceField(species, proposal.reactant, product.coordinates));
    if (!reactant.keptBonds) reactant.coordinates = conformer;
    return {reactant.coordinates, product.coordinates,
            fittedStart(species, proposal, reactant.coordinates, product.coordinates)};
}

/// The sides of molecules that are brought together: the start itself, a little back and a little
/// on along the changing bonds.
Start dockedSides(const Proposal &proposal, const Eigen::VectorXd &between) {
    constexpr double way = 0.5; // bohr
    const auto direction = progressDirection(proposal.changed(), between);
    return {between - way * direction, between + way * direction, between};
}

StationaryPoint searched(EnergySurface &surface, const Proposal &proposal, const Start &start,
                         bool springs) {
    const auto changed = proposal.changed();
    const auto from =
        springs ? relaxedUnderSprings(surface, changed, start.between) : start.between;
    if (nearestPair(from).distance < nearestAtoms) throw NoStart{"atoms too near"};
    SaddleSearchOptions options;
    options.mostSteps = searchSteps;
    const auto direction = [&changed](const Eigen::VectorXd &coordinates) {
        return progressDirection(changed, coordinates);
    };
    return findFirstOrder(
        surface, {from, std::nullopt, std::nullopt}, direction,
        {changed, progressOf(changed, start.reactant), progressOf(changed, start.product)},
        options);
}

std::string objectionToPoint(const StationaryPoint &point, double reactantEnergy) {
    if (!point.converged) return "no stationary point";
    if (point.vibrations.order() == 0) return "no imaginary mode";
    if (!point.isFirstOrder()) return "several imaginary modes";
    if (point.vibrations.wavenumbers[0] > -Filters{}.leastWavenumber) return "soft mode";
    if (kcalPerHartree * (point.energy - reactantEnergy) > highestSaddle) return "barrier too high";
    return {};
}

/// The saddle with what lies at its ends. The end that the proposal's reactant is stands first.
VerifiedSaddle verified(const Species &species, const StationaryPoint &point,
                        std::array<End, 2> ends, const BondGraph &reactant) {
    if (ends[1].bonds == reactant && ends[0].bonds != reactant) std::swap(ends[0], ends[1]);
    VerifiedSaddle saddle;
    saddle.species = species;
    if (const auto drawing = drawnReaction(species, ends[0].bonds, ends[1].bonds)) {
        saddle.reactant = drawing->reactant;
        saddle.product = drawing->product;
    }
    saddle.hash = reactionHash(species.elements, species.charge, ends[0].bonds, ends[1].bonds);
    saddle.atReactant = ends[0].minimum.coordinates;
    saddle.atSaddle = point.coordinates;
    saddle.atProduct = ends[1].minimum.coordinates;
    saddle.reactantEnergy = ends[0].minimum.value.energy;
    saddle.saddleEnergy = point.energy;
    saddle.productEnergy = ends[1].minimum.value.energy;
    saddle.wavenumber = point.vibrations.wavenumbers[0];
    saddle.nextWavenumber =
        point.vibrations.wavenumbers.size() > 1 ? point.vibrations.wavenumbers[1] : 0.0;
    saddle.modeShare = shareInBonds(bondsChanged(ends[0].bonds, ends[1].bonds), point.coordinates,
                                    point.vibrations.modes.col(0));
    return saddle;
}

/// A complex of molecules may still be on its way when the fine descent ends.
void settle(EnergySurface &surface, End &end) {
    if (end.minimum.converged) return;
    end.minimum = relax(surface, end.minimum.coordinates);
    end.bonds = bondGraph(surface.species(), end.minimum.coordinates);
}

TrialResult judged(EnergySurface &surface, const StationaryPoint &point, const Proposal &proposal,
                   double reactantEnergy) {
    if (auto objection = objectionToPoint(point, reactantEnergy); !objection.empty())
        return {std::move(objection), std::nullopt, 0};
    auto ends = endsOf(surface, point, Descent::fine);
    for (auto &end : ends)
        settle(surface, end);
    if (!ends[0].minimum.converged || !ends[1].minimum.converged)
        return {"end not reached", std::nullopt, 0};
    if (ends[0].bonds == ends[1].bonds) return {"ends alike", std::nullopt, 0};
    auto saddle = verified(surface.species(), point, ends, graphOf(proposal.reactant.orders));
    if (auto objection = objectionTo(saddle); !objection.empty())
        return {std::move(objection), std::nullopt, 0};
    const bool same = saddle.hash == proposal.hash;
    return {same ? "accepted" : "accepted as another", std::move(saddle), 0};
}

} // namespace

std::string objectionTo(const VerifiedSaddle &saddle, const Filters &filters) {
    if (saddle.wavenumber > -filters.leastWavenumber) return "soft mode";
    if (saddle.reactant.charges.empty()) return "no Lewis structure";
    const int charge = saddle.species.charge;
    if (!isOrdinary(saddle.reactant, charge) || !isOrdinary(saddle.product, charge))
        return "no ordinary Lewis structure";
    const double forward = kcalPerHartree * (saddle.saddleEnergy - saddle.reactantEnergy);
    const double backward = kcalPerHartree * (saddle.saddleEnergy - saddle.productEnergy);
    if (std::min(forward, backward) < filters.leastBarrier) return "no barrier";
    if (std::max(forward, backward) > filters.highestBarrier) return "barrier too high";
    return {};
}

Reactant::Reactant(Molecule3D molecule, std::uint64_t seed)
    : molecule_(std::move(molecule)), seed_(seed) {
    const auto &species = molecule_.species;
    const auto bonds = graphOf(molecule_.drawing.orders);
    isComplex_ = fragmentsOf(species.elements.size(), bonds).size() > 1;
    energy_ = std::numeric_limits<double>::max();
    if (isComplex_) return;
    for (const auto &start : turned(molecule_, conformersKept, seed)) {
        const auto surface = xtbSurface(species);
        const auto relaxed =
            relaxedAtSurface(*surface, molecule_.drawing,
                             relaxedByForceField(species, molecule_.drawing.orders, start));
        if (!relaxed.keptBonds) continue;
        conformers_.push_back(relaxed.coordinates);
        energy_ = std::min(energy_, relaxed.energy);
    }
    if (conformers_.empty()) throw Error("the molecule does not keep its bonds");
    molecule_.coordinates = conformers_.front();
}

/// The relaxed conformers and turned ones, by how near the atoms of the bonds to be made are.
std::vector<Eigen::VectorXd> Reactant::nearestConformers(const Proposal &proposal) const {
    constexpr double crowded = 1.5 / angstromPerBohr;
    auto candidates = conformers_;
    for (auto &turn : turned(molecule_, conformersTurned, seed_ + 1)) {
        const auto bonds = bondGraph(molecule_.species, turn);
        if (bonds == graphOf(molecule_.drawing.orders)) candidates.push_back(std::move(turn));
    }
    std::vector<std::pair<double, std::size_t>> order;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        double sum = 0.0;
        for (const auto &[a, b] : proposal.changed().made) {
            const double length =
                (candidates[i].segment<3>(3 * a) - candidates[i].segment<3>(3 * b)).norm();
            sum += std::max(length, crowded);
        }
        order.emplace_back(sum, i);
    }
    std::stable_sort(order.begin(), order.end());
    std::vector<Eigen::VectorXd> nearest;
    for (const auto &[sum, i] : order)
        nearest.push_back(candidates[i]);
    return nearest;
}

TrialResult Reactant::tried(const Proposal &proposal, Origin origin) const {
    const auto surface = xtbSurface(molecule_.species);
    const auto conformers = isComplex_ ? std::vector<Eigen::VectorXd>(2, molecule_.coordinates)
                                       : nearestConformers(proposal);
    TrialResult result{"no conformer", std::nullopt, 0};
    for (std::size_t i = 0; i < std::min<std::size_t>(2, conformers.size()); ++i) {
        try {
            const auto seed = seedFor(seed_ + i, proposal.hash);
            const auto start = isComplex_
                                   ? dockedSides(proposal, dockedStart(molecule_.species, proposal,
                                                                       conformers[i], seed))
                                   : startFrom(*surface, proposal, conformers[i], energy_, origin);
            const auto point = searched(*surface, proposal, start, isComplex_ || i == 0);
            const double floor = isComplex_ ? point.energy : energy_;
            result = judged(*surface, point, proposal, floor);
        } catch (const NoStart &none) {
            result = {none.why, std::nullopt, 0};
        } catch (const Error &) {
            result = {"no energy", std::nullopt, 0};
        }
        if (result.accepted() || result.outcome == "product too high") break;
    }
    result.gradients = surface->gradientsUsed();
    return result;
}

} // namespace saddlefit::collection
