/// Maps between the atoms of two molecules.
#pragma once

#include <cstddef>
#include <vector>

namespace saddlefit {

/// For each atom of the target, the atom that the map sends there; -1 for none.
inline std::vector<int> inverseOf(const std::vector<int> &map, std::size_t targetAtoms) {
    std::vector<int> inverse(targetAtoms, -1);
    for (std::size_t atom = 0; atom < map.size(); ++atom)
        if (map[atom] >= 0) inverse[static_cast<std::size_t>(map[atom])] = static_cast<int>(atom);
    return inverse;
}

} // namespace saddlefit
