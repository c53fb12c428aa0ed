#include "host/saddle/reaction_sides.hpp"

namespace saddlefit::host {

const Minimum &ReactionSide::relaxed() {
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
      changed(bondsChanged(reactant.drawn().bonds, product.drawn().bonds)) {}

ReactionProgress ReactionSides::progress() const {
    return {changed, progressOf(changed, reactant.drawn().coordinates),
            progressOf(changed, product.drawn().coordinates)};
}

DirectionAt ReactionSides::direction() const {
    return [bonds = changed](const Eigen::VectorXd &coordinates) {
        return progressDirection(bonds, coordinates);
    };
}

} // namespace saddlefit::host
