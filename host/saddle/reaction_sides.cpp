#include "host/saddle/reaction_sides.hpp"

#include "host/structures/element_data.hpp"

namespace saddlefit::host {

namespace {

/// Of bonds that are broken as far as of those that are there: twice their length.
double usualProgress(const BondsChanged &bonds, const Species &species, bool atProduct) {
    const auto lengths = [&](const std::vector<AtomPair> &pairs, double factor) {
        double sum = 0.0;
        for (const auto &[a, b] : pairs)
            sum += factor * (covalentRadius(species.elements[static_cast<std::size_t>(a)]) +
                             covalentRadius(species.elements[static_cast<std::size_t>(b)]));
        return sum;
    };
    return lengths(bonds.broken, atProduct ? 2.0 : 1.0) -
           lengths(bonds.made, atProduct ? 1.0 : 2.0);
}

} // namespace

const Minimum &ReactionSide::relaxed() {
    if (drawn_.coordinates.size() == 0) throw Error("a side of the reaction has no coordinates");
    if (!relaxed_) relaxed_ = relax(surface_, drawn_.coordinates);
    return *relaxed_;
}

bool ReactionSide::hasBonds(const BondGraph &bonds) {
    if (bonds == drawn_.bonds) return true;
    if (!relaxable_) return false;
    try {
        return bonds == bondGraph(surface_.species(), relaxed().coordinates);
    } catch (const Error &) {
        relaxable_ = false; // as where a side has no coordinates
        return false;
    }
}

ReactionSides::ReactionSides(EnergySurface &surface, DrawnSide from, DrawnSide to)
    : reactant(surface, std::move(from)),
      product(surface, std::move(to)),
      changed(bondsChanged(reactant.drawn().bonds, product.drawn().bonds)),
      species_(surface.species()) {}

ReactionProgress ReactionSides::progress() const {
    const auto at = [this](const ReactionSide &side, bool isProduct) {
        const auto &coordinates = side.drawn().coordinates;
        return coordinates.size() > 0 ? progressOf(changed, coordinates)
                                      : usualProgress(changed, species_, isProduct);
    };
    return {changed, at(reactant, false), at(product, true)};
}

DirectionAt ReactionSides::direction() const {
    return [bonds = changed](const Eigen::VectorXd &coordinates) {
        return progressDirection(bonds, coordinates);
    };
}

} // namespace saddlefit::host
