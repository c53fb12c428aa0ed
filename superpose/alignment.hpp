/// A look ahead at alignMapMol().
#pragma once

#include "saddlefit/superpose.h"

#include <span>

namespace saddlefit {

/// False only if alignMapMol() is bound to answer `misfit` or more (or what is not a number) for
/// this map, here and after up to a dozen alignments of the molecule by other maps. With `mirrored`
/// it is asked for the mirror image, x = -x. Uses the state as an alignment does.
bool alignmentMayBeat(double misfit, const Molecule &mol, std::span<const int> map, bool mirrored,
                      const AlignMapState &state);

} // namespace saddlefit
