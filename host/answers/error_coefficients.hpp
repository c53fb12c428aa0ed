/// The coefficients of the expected error, see expected_error.hpp. bench/quality.py writes them.
#pragma once

#include <array>

namespace saddlefit::host {

struct ErrorCoefficient {
    const char *term;
    double value; ///< per unit of the term, in the logarithm of angstrom
};

/// Fitted (ridge regression) to the mean errors of made and broken bonds over 240 published
/// reactions in five folds; the constant so that the mean expected error is the mean error.
inline constexpr std::array<ErrorCoefficient, 13> errorCoefficients{{
    {"constant", -1.0839},
    {"unmatched", -0.3129},
    {"sigma", 0.0245},
    {"otherDirection", 0.0952},
    {"partialClass", 0.4195},
    {"weight", -0.0070},
    {"changes", 0.0787},
    {"misfit", 0.0368},
    {"spread", 0.1793},
    {"alone", -0.5944},
    {"difference", 0.2225},
    {"stretch", 0.5761},
    {"surroundings", -0.4604},
}};

} // namespace saddlefit::host
