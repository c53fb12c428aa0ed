#pragma once

#include "host/saddle/energy.hpp"

#include <vector>

namespace saddlefit::host {

/// Structures from one to another, both of them included. The second is laid on the first, and the
/// distances of all atoms go over in even steps as well as they can: the image-dependent pair
/// potential of Smidstrup et al. (J. Chem. Phys. 140, 214106 (2014)), fitted for each structure by
/// the method of Levenberg and Marquardt. No energy is asked for.
std::vector<Eigen::VectorXd> interpolatedPath(const Eigen::VectorXd &from,
                                              const Eigen::VectorXd &to, int innerPoints);

/// The structures of such a path at which the energy is highest, the highest first: inner local
/// maxima, each with the direction in which the path goes through it (of length 1).
struct PathPeak {
    Eigen::VectorXd coordinates;
    Eigen::VectorXd tangent;
    double energy = 0.0;
};
std::vector<PathPeak> peaksOf(const std::vector<Eigen::VectorXd> &path,
                              const std::vector<double> &energies);

/// The energies along the inner points of a path between two relaxed structures. Where a point has
/// none it counts as high as the highest. Throws Error if none has one.
std::vector<double> energiesAlong(EnergySurface &surface, const std::vector<Eigen::VectorXd> &path);

} // namespace saddlefit::host
