#pragma once

#include "host/system/words.hpp"

namespace saddlefit::host {

/// How the ends of a saddle are come to.
enum class Descent {
    quick, ///< steps as long as the surface's curvature allows
    fine   ///< steps of 0.06 bohr, then a kick and a tight minimum: no valley is stepped over
};

template <>
inline constexpr auto wordsFor<Descent> = std::to_array<Word<Descent>>({{Descent::quick, "quick"},
                                                                        {Descent::fine, "fine"}});

} // namespace saddlefit::host
