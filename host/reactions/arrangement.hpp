/// Molecules side by side, each as it is.
#pragma once

#include "host/reactions/distance_fit.hpp"
#include "host/reactions/fragments.hpp"

#include <span>
#include <vector>

namespace saddlefit::host {

/// Turn and shift the fragments, each rigid, until wanted distances between them come true and no
/// atoms of two of them are nearer than molecules come.
///
/// @param side       its coordinates give the shapes of the fragments, and a first arrangement
/// @param fragments  the first one stays in its place
/// @param wanted     pairs of atoms of different fragments; a factor of 1 counts like a contact
/// @param startsElsewhere  whether other arrangements than the first one are to be begun with too;
///                   the best is taken, always the same one for the same molecules
/// @return           positions, by atom
std::vector<Position> arranged(const Structure &side, std::span<const Fragment> fragments,
                               const SpecialDistances &wanted, bool startsElsewhere);

/// Each fragment where its atoms lie nearest to these places.
std::vector<Position> superposedFragments(const Structure &side,
                                          std::span<const Fragment> fragments,
                                          std::span<const Position> places);

/// Whether two atoms of different fragments are nearer than any contact between molecules.
bool fragmentsClash(const Structure &side, std::span<const Fragment> fragments);

} // namespace saddlefit::host
