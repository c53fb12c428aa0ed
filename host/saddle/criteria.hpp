/// What a saddle point is judged by.
#pragma once

namespace saddlefit::host {

/// An imaginary mode lies below this, cm-1: what is nearer to zero is noise.
inline constexpr double firstImaginary = -30.0;

/// The least part of an imaginary mode that is in the bonds that its reaction changes. Of 198
/// published saddles that joined the right ends, none had less than 0.18.
inline constexpr double leastModeShare = 0.1;

} // namespace saddlefit::host
