#include "host/answers/best_map.hpp"

#include "host/answers/answer_saddle.hpp"
#include "host/structures/labels.hpp"

#include <algorithm>
#include <tuple>

namespace saddlefit::host {

namespace {

auto rankOf(const MappedAnswer &mapped) {
    const auto &answer = mapped.answer;
    const auto *match = answer.matched();
    const int stage = answer.stage ? static_cast<int>(*answer.stage) : -1;
    return std::tuple(answer.outcome != Outcome::exact, mapped.reaction.movesFar,
                      static_cast<int>(answer.outcome), stage, match ? match->misfit : 0.0);
}

// "C1-H7 broken, C3-H7 formed"
std::string brokenAndFormed(const Reaction &reaction) {
    std::string text;
    for (const auto &[atoms, before, after] : reaction.changes) {
        if (before != 0 && after != 0) continue;
        text += (text.empty() ? "" : ", ") + bondLabel(reaction.reactant.atoms, atoms) +
                (after == 0 ? " broken" : " formed");
    }
    return text;
}

} // namespace

MappedAnswer bestAnswer(const std::vector<Reaction> &pairings, const StoredReactions &stored,
                        const AnswerOptions &options) {
    std::vector<MappedAnswer> answers;
    for (const auto &reaction : pairings)
        answers.push_back({reaction, answerTo(reaction, stored, options)});
    const auto best = std::min_element(
        answers.begin(), answers.end(),
        [](const MappedAnswer &a, const MappedAnswer &b) { return rankOf(a) < rankOf(b); });
    auto result = *best;
    for (auto other = answers.begin(); other != answers.end(); ++other) {
        if (other == best) continue;
        result.answer.rivalMaps.push_back(
            {brokenAndFormed(other->reaction), describeMatch(other->answer)});
    }
    if (options.saddle)
        result.answer.saddle = saddleFor(result.reaction, result.answer, stored, options);
    return result;
}

} // namespace saddlefit::host
