/// How far the made and broken bonds of an answer are likely to be off.
#pragma once

#include "host/answers/answer.hpp"

#include <optional>
#include <vector>

namespace saddlefit::host {

/// What the expected error is made of.
struct ErrorTerm {
    const char *name;
    double value;
};

/// In this order:
///   constant        1
///   unmatched       1 without a match; the terms of the match are 0 then
///   sigma           1 where the stage "sigma" answered
///   otherDirection  1 where the match does not run the same way as the reaction
///   partialClass    1 where the match is neither the whole molecule nor more, as it was mapped
///   weight          of the neighbourhood of the match
///   changes         bonds that change
///   misfit          of the match to the start geometry, angstrom
///   spread          logarithm of the spread of the best matches in angstrom, plus a fiftieth
///   alone           1 where there is no second match, and so no spread
///   difference      the same logarithm of how far the match is from the usual lengths in the mean
///   stretch         the longest made or broken bond, in lengths of a single bond
///   surroundings    levels of surroundings that made and broken bonds share with stored ones, 0
///                   to 5, in the mean
/// Empty for an exact match, and for a reaction that makes and breaks no bond.
std::vector<ErrorTerm> errorTermsOf(const Reaction &reaction, const Answer &answer);

/// The mean error of the made and broken bonds of such answers, in angstrom: the exponential of the
/// terms times their coefficients. Nothing where there are no terms.
std::optional<double> expectedErrorOf(const Reaction &reaction, const Answer &answer);

/// "exact", "high" for an expected error below 0.08 angstrom, or "low".
const char *confidenceOf(const Reaction &reaction, const Answer &answer);

} // namespace saddlefit::host
