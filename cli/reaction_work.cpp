#include "cli/reaction_work.hpp"

#include "cli/explanation.hpp"
#include "cli/learning.hpp"
#include "cli/reaction_inputs.hpp"
#include "cli/report.hpp"
#include "cli/saddle_text.hpp"
#include "host/answers/expected_error.hpp"
#include "host/system/text.hpp"

namespace saddlefit::cli {

namespace {

std::string expectedErrorText(const Reaction &reaction, const Answer &answer) {
    const auto expected = expectedErrorOf(reaction, answer);
    return expected ? formatted("expected error %.2f", *expected) : "-";
}

std::string resultLine(const Reaction &reaction, const Answer &answer) {
    return reaction.title + "\t" + answer.code + "\t" + describeMatch(answer) + "\t" +
           std::to_string(answer.constraints.size()) + " constraints\t" +
           std::to_string(answer.frozen.size()) + " atoms frozen\t" +
           (answer.stage ? wordOf(*answer.stage) : "-") + "\t" +
           expectedErrorText(reaction, answer) + "\tconfidence " + confidenceOf(reaction, answer) +
           (answer.saddle ? "\t" + saddleColumns(*answer.saddle) : "") + "\n";
}

// What an answer counts as at the end.
std::string outcomeWord(const Answer &answer) {
    if (answer.outcome != Outcome::noMatch) return wordOf(answer.outcome);
    return answer.stage == Stage::lengths ? "lengths" : "without an answer";
}

} // namespace

Delivery ReactionWork::operator()(std::size_t item) const {
    try {
        auto mapped = bestAnswer(reader_.read(item), stored_, answerOptions_);
        for (auto &warning : mapped.answer.warnings)
            warning = {messageOf(warning)};
        return answered(mapped);
    } catch (const Error &error) {
        return failure(item, messageOf(error));
    }
}

Delivery ReactionWork::failure(std::size_t item, const std::string &what) const {
    Delivery delivery;
    delivery.failed = true;
    delivery.messages = "saddlefit: " + what + "\n";
    for (const auto &output : outputs_) {
        auto &piece = delivery.pieces.emplace_back();
        if (output.format->writeFailure)
            piece = output.format->writeFailure(item + 1, reader_.title(item), what);
    }
    return delivery;
}

Delivery ReactionWork::answered(const MappedAnswer &mapped) const {
    const auto &[reaction, answer] = mapped;
    writeInputs(options_, reaction, answer);
    Delivery delivery;
    delivery.line = resultLine(reaction, answer);
    delivery.outcome = outcomeWord(answer);
    delivery.origin = reaction.reactant.origin.text();
    for (const auto &warning : answer.warnings)
        delivery.warnings.push_back(messageOf(warning));
    delivery.warnings.insert(delivery.warnings.end(), answer.strains.begin(), answer.strains.end());
    if (answer.saddle && !answer.saddle->reason.empty())
        delivery.warnings.push_back("saddle point: " + answer.saddle->outcome + ", " +
                                    answer.saddle->reason);
    if (options_.verbose) delivery.messages = explanation(reaction, answer);
    for (const auto &output : outputs_)
        delivery.pieces.push_back(output.text(reaction, answer));
    if (!options_.learnInto.empty()) Learning::addTo(delivery, reaction, answer);
    return delivery;
}

} // namespace saddlefit::cli
