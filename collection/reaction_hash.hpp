#pragma once

#include "host/structures/structure.hpp"

#include <set>
#include <string>
#include <vector>

namespace saddlefit::collection {

/// A name for a reaction as such, 16 hexadecimal digits: the same for every order of the atoms, for
/// both directions and for all geometries.
///
/// It comes from the graph of all atoms with the bonds of both sides, each marked as broken, formed
/// or kept: colours refined by the neighbours', then by how many atoms of which colour stand how
/// many bonds away, which tells apart the regular graphs that refinement alone confuses. Bond
/// orders do not count: they follow from the graph, but for how they are drawn. Configurations do
/// not either.
std::string reactionHash(const std::vector<int> &elements, int charge,
                         const std::set<host::AtomPair> &before,
                         const std::set<host::AtomPair> &after);

} // namespace saddlefit::collection
