#pragma once

#include "collection/journal.hpp"

#include <string>

namespace saddlefit::collection {

/// Check a shipped saddle anew: search from its geometry, which a true saddle leaves by rounding
/// only, count imaginary modes, go down to both ends in small steps and compare the reaction's hash
/// and the energy. What is wrong, as a phrase; empty if nothing is.
std::string faultOf(const std::vector<int> &elements, int charge, const Eigen::VectorXd &saddle,
                    double energy, const std::string &hash);

} // namespace saddlefit::collection
