#pragma once

#include "host/saddle/minimise.hpp"
#include "host/saddle/saddle_point.hpp"

#include <optional>

namespace saddlefit::host {

/// A side of a reaction as it is drawn.
struct DrawnSide {
    Eigen::VectorXd coordinates; ///< bohr; of size 0 where they are not known
    BondGraph bonds;
};

/// A side as it is drawn, and as the surface relaxes it: the surface may not know the drawn one.
class ReactionSide {
public:
    ReactionSide(EnergySurface &surface, DrawnSide drawn)
        : surface_(surface), drawn_(std::move(drawn)) {}

    const DrawnSide &drawn() const { return drawn_; }

    /// Computed when first asked for. Throws Error.
    const Minimum &relaxed();

    /// Whether these are its bonds, in either form; in the drawn one alone if it cannot be relaxed.
    bool hasBonds(const BondGraph &bonds);

private:
    EnergySurface &surface_;
    DrawnSide drawn_;
    std::optional<Minimum> relaxed_;
    bool relaxable_ = true;
};

/// Both sides, and what happens between them.
struct ReactionSides {
    ReactionSide reactant;
    ReactionSide product;
    BondsChanged changed;

    ReactionSides(EnergySurface &surface, DrawnSide from, DrawnSide to);
    ReactionProgress progress() const;
    DirectionAt direction() const;

private:
    const Species &species_;
};

} // namespace saddlefit::host
