/// How many bonds lie between two atoms.
#pragma once

#include "host/structures/structure.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace saddlefit::host {

/// Atoms further apart, and atoms with no path between them, count as this far apart.
inline constexpr int longestPath = 6;

/// The atoms that each atom is bonded to.
using Neighbours = std::vector<std::vector<int>>;

/// Bonds that name an atom beyond `atoms` are left out.
Neighbours neighboursBy(std::span<const AtomPair> bonds, std::size_t atoms);

/// Bonds on the shortest path from an atom to each atom, at most longestPath.
std::vector<int> pathsFrom(int atom, const Neighbours &neighbours);

} // namespace saddlefit::host
