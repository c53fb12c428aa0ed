#include "host/answers/best_map.hpp"

#include "host/answers/answer_saddle.hpp"
#include "host/structures/labels.hpp"

#include <algorithm>
#include <tuple>

namespace saddlefit::host {

namespace {

auto rankOf(const Answer &answer) {
    const auto *match = answer.matched();
    const int stage = answer.stage ? static_cast<int>(*answer.stage) : -1;
    return std::tuple(static_cast<int>(answer.outcome), stage, match ? match->misfit : 0.0);
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
    std::vector<Answer> answers;
    for (const auto &reaction : pairings)
        answers.push_back(answerTo(reaction, stored, options));
    const auto best =
        std::min_element(answers.begin(), answers.end(),
                         [](const Answer &a, const Answer &b) { return rankOf(a) < rankOf(b); }) -
        answers.begin();
    const auto chosen = static_cast<std::size_t>(best);
    MappedAnswer result{pairings[chosen], answers[chosen]};
    for (std::size_t i = 0; i < answers.size(); ++i) {
        if (i == chosen) continue;
        result.answer.rivalMaps.push_back(
            {brokenAndFormed(pairings[i]), describeMatch(answers[i])});
    }
    if (options.saddle)
        result.answer.saddle = saddleFor(result.reaction, result.answer, stored, options);
    return result;
}

} // namespace saddlefit::host
