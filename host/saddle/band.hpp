#pragma once

#include "host/saddle/path.hpp"

namespace saddlefit::host {

/// The peaks (two at most) of a nudged elastic band between two minima, the highest first: tangents
/// of Henkelman and Jonsson (J. Chem. Phys. 113, 9978 (2000)), with a climbing image from the sixth
/// iteration on. The band is not brought to its end: what it gives is where to search for saddles.
/// Throws Error.
std::vector<PathPeak> bandPeaks(EnergySurface &surface, const Eigen::VectorXd &from,
                                const Eigen::VectorXd &to);

} // namespace saddlefit::host
