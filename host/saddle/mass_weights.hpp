#pragma once

#include "host/saddle/energy.hpp"

namespace saddlefit::host {

/// Per coordinate the root of the atom's mass in dalton; 1 for a species without atoms.
Eigen::VectorXd massRoots(const Species &species, Eigen::Index size);

} // namespace saddlefit::host
