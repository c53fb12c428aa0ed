/// What the best of all rigid motions leaves of a misfit, without looking for that motion.
#pragma once

namespace saddlefit {

/// False only if no rigid motion of `fit` brings the sum of squared pair distances below `limit`.
/// True where rounding, up to `margin` in that sum, or a value that is not a number leaves it open.
bool squaresMayFallBelow(double limit, double margin, const double *ref, const double *fit,
                         int count);

} // namespace saddlefit
