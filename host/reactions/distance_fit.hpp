/// Structures out of wanted distances.
#pragma once

#include "host/structures/structure.hpp"

#include <cstddef>
#include <functional>
#include <map>
#include <span>
#include <vector>

namespace saddlefit::host {

using WantedDistance = std::function<double(std::size_t, std::size_t)>; ///< of two atoms, angstrom

/// What is wanted of a pair in place of the general rule, in angstrom, and how many times as much
/// it counts.
struct SpecialDistance {
    double distance = 0.0;
    double factor = 100.0;
};
using SpecialDistances = std::map<AtomPair, SpecialDistance>;

/// Move all atoms but the fixed ones until their distances are as near to the wanted ones as they
/// come: the sum over all pairs of (distance - wanted)^2 / wanted^4 falls with every step, so bonds
/// count for much and far pairs for little. Special pairs count by their factor. The minimum
/// nearest to where the atoms begin is found by majorisation, atom by atom (de Leeuw, J. Classif.
/// 5, 163 (1988)).
void fitDistances(std::vector<Position> &positions, const WantedDistance &wanted,
                  const SpecialDistances &special, std::span<const int> fixed);

} // namespace saddlefit::host
