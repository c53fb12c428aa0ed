// The coefficients of the expected error, see expected_error.hpp. bench/quality.py writes them.
#pragma once

#include <array>

namespace saddlefit::host {

struct ErrorCoefficient {
    const char *term;
    double value; // per unit of the term, in the logarithm of angstrom
};

/// Fitted (ridge regression) to the mean errors of made and broken bonds over 240 published
/// reactions in five folds; the constant so that the mean expected error is the mean error.
inline constexpr std::array<ErrorCoefficient, 13> errorCoefficients{{
    {"constant", -0.7779},
    {"unmatched", -0.3973},
    {"sigma", -0.0151},
    {"otherDirection", 0.0417},
    {"partialClass", 0.4260},
    {"weight", -0.0096},
    {"changes", 0.0921},
    {"misfit", 0.3936},
    {"spread", 0.1812},
    {"alone", -0.5602},
    {"difference", 0.2338},
    {"stretch", 0.4017},
    {"surroundings", -0.4848},
}};

} // namespace saddlefit::host
