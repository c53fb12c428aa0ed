#pragma once

#include "host/reactions/relaxation.hpp"

#include <span>

namespace saddlefit::host {

/// Relax by distances, and where that ends in strain, from other starts too: the reactant, the
/// product, and each of them with the reaction centre and its neighbours between the sides. The
/// mean of two conformers is a good start where they are alike, but in large molecules its atoms
/// may lie on top of each other. The least strained structure is taken, and in it atoms that are
/// still too near are pushed apart.
///
/// @param task   with the geometry between the sides as its model
/// @param centre atoms of the bonds that change
std::vector<Position> relaxFromSeveralStarts(const Relaxation &task, const Structure &reactant,
                                             const Structure &product, std::span<const int> centre);

} // namespace saddlefit::host
