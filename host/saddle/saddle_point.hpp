#pragma once

#include "host/saddle/bond_graph.hpp"
#include "host/saddle/saddle_search.hpp"
#include "host/saddle/vibrations.hpp"

namespace saddlefit::host {

/// A stationary point with what was measured of it.
struct StationaryPoint {
    bool converged = false;
    Eigen::VectorXd coordinates;
    double energy = 0.0;          ///< hartree
    double largestGradient = 0.0; ///< component, hartree per bohr
    Eigen::MatrixXd hessian;      ///< by central differences; empty where a search did not converge
    Vibrations vibrations;        ///< likewise
    int gradients = 0;            ///< used until the search ended for the first time

    bool isFirstOrder() const { return converged && vibrations.order() == 1; }
};

/// What pulls a search that ended where no mode is imaginary back towards the saddle.
struct ReactionProgress {
    BondsChanged bonds;
    double atReactant = 0.0; ///< of progressOf
    double atProduct = 0.0;
};

/// Search for a first-order saddle and verify it by its vibrations. From a point with several
/// imaginary modes the search goes on down the extra ones, from one with none it goes on along the
/// reaction, away from the nearer side: three rounds at most.
StationaryPoint findFirstOrder(EnergySurface &surface, const SaddleStart &start,
                               const DirectionAt &direction, const ReactionProgress &progress,
                               const SaddleSearchOptions &options = {});

/// A geometry as it stands, without a search; the options say which gradient counts as none.
StationaryPoint measured(EnergySurface &surface, const Eigen::VectorXd &coordinates,
                         const SaddleSearchOptions &options = {});

} // namespace saddlefit::host
