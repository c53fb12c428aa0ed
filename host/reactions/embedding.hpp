/// Coordinates for molecules that have none.
#pragma once

#include "host/reactions/distance_fit.hpp"
#include "host/structures/stereo_marks.hpp"
#include "host/structures/structure.hpp"

#include <optional>
#include <vector>

namespace saddlefit::host {

/// Coordinates of one molecule: by Open Babel's builder, and where this fails, takes too long or
/// misses the stereo marks, by distance geometry. Ends with a force field, where one knows the
/// elements.
/// Throws Error where the marks cannot be had, and where there is no Open Babel.
std::vector<Position> embedded(const Structure &molecule, const StereoMarks &marks);

/// How far a force field goes.
enum class Force {
    coarse, ///< UFF, from anywhere
    fine    ///< MMFF94, or UFF where that does not know the atoms
};

/// The side after a force field, with some distances held; nothing where it has no parameters or
/// leads to no structure.
std::optional<std::vector<Position>> forceFieldGeometry(const Structure &side,
                                                        const std::vector<Position> &start,
                                                        const SpecialDistances &held, Force force);

} // namespace saddlefit::host
