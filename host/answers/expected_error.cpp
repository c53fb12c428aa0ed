#include "host/answers/expected_error.hpp"

#include "host/answers/error_coefficients.hpp"
#include "host/search/direction.hpp"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace saddlefit::host {

namespace {

constexpr double highConfidence = 0.08;   // angstrom
constexpr double smallestDistance = 0.02; // angstrom; what is nearer tells nothing more

double logarithm(double distance) {
    return std::log(distance + smallestDistance);
}

double lengthIn(const Answer &answer, const AtomPair &atoms) {
    return distanceBetween(answer.coordinates[static_cast<std::size_t>(atoms.first)],
                           answer.coordinates[static_cast<std::size_t>(atoms.second)]);
}

double singleLength(const Reaction &reaction, const AtomPair &atoms) {
    const auto element = [&](int atom) {
        return reaction.reactant.atoms[static_cast<std::size_t>(atom)].element;
    };
    return singleBondLength(element(atoms.first), element(atoms.second));
}

/// What the changing bonds say, matched or not.
struct BondTerms {
    int ends = 0;
    double stretch = 0.0;
    double surroundings = 0.0;
    int compared = 0;
    double difference = 0.0; // of the match from the usual lengths, angstrom
};

BondTerms bondTermsOf(const Reaction &reaction, const Answer &answer) {
    BondTerms terms;
    const auto *match = answer.matched();
    for (std::size_t i = 0; i < reaction.changes.size(); ++i) {
        const auto &change = reaction.changes[i];
        if (change.before != 0 && change.after != 0) continue;
        const auto &usual = answer.usual[i];
        ++terms.ends;
        terms.surroundings += static_cast<double>(usual.shared);
        terms.stretch = std::max(terms.stretch, lengthIn(answer, change.atoms) /
                                                    singleLength(reaction, change.atoms));
        if (match == nullptr || match->lengths[i] == 0.0) continue;
        ++terms.compared;
        terms.difference += std::abs(match->lengths[i] - usual.length);
    }
    if (terms.ends > 0) terms.surroundings /= terms.ends;
    if (terms.compared > 0) terms.difference /= terms.compared;
    return terms;
}

bool isPartial(const Match &match) {
    return match.figures.classAfter == "sub" || match.figures.classAfter == "none";
}

double indicator(bool value) {
    return value ? 1.0 : 0.0;
}

} // namespace

std::vector<ErrorTerm> errorTermsOf(const Reaction &reaction, const Answer &answer) {
    if (answer.outcome == Outcome::exact) return {};
    const auto bonds = bondTermsOf(reaction, answer);
    if (bonds.ends == 0) return {};
    const auto *match = answer.matched();
    const bool matched = match != nullptr;
    const bool several = matched && answer.reports.back().matches.size() > 1;
    const bool same = !matched || directionOf(reaction, *match) == MatchDirection::same;
    return {{"constant", 1.0},
            {"unmatched", indicator(!matched)},
            {"sigma", indicator(answer.stage == Stage::sigma)},
            {"otherDirection", indicator(!same)},
            {"partialClass", indicator(matched && isPartial(*match))},
            {"weight", matched ? match->figures.weightAfter : 0.0},
            {"changes", static_cast<double>(reaction.changes.size())},
            {"misfit", matched ? match->misfit : 0.0},
            {"spread", several ? logarithm(spreadOf(answer.reports.back().matches)) : 0.0},
            {"alone", indicator(matched && !several)},
            {"difference", bonds.compared > 0 ? logarithm(bonds.difference) : 0.0},
            {"stretch", bonds.stretch},
            {"surroundings", bonds.surroundings}};
}

std::optional<double> expectedErrorOf(const Reaction &reaction, const Answer &answer) {
    const auto terms = errorTermsOf(reaction, answer);
    if (terms.empty()) return std::nullopt;
    double sum = 0.0;
    for (const auto &[name, value] : terms) {
        const auto found = std::ranges::find(errorCoefficients, std::string_view(name),
                                             [](const auto &entry) { return entry.term; });
        if (found != errorCoefficients.end()) sum += found->value * value;
    }
    return std::exp(sum);
}

const char *confidenceOf(const Reaction &reaction, const Answer &answer) {
    if (answer.outcome == Outcome::exact) return "exact";
    const auto expected = expectedErrorOf(reaction, answer);
    return expected && *expected < highConfidence ? "high" : "low";
}

} // namespace saddlefit::host
