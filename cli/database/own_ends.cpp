#include "cli/database/own_ends.hpp"

#include "cli/batch/batch.hpp"
#include "cli/report.hpp"
#include "host/answers/answer_saddle.hpp"
#include "host/system/text.hpp"

#include <numeric>

namespace saddlefit::cli {

namespace {

std::string notStored(const SaddleQuestion &question, const ReactionSaddle &saddle) {
    const auto reason = saddle.reason.empty() ? std::string{} : ", " + saddle.reason;
    const bool hasSaddle = saddle.found() != nullptr;
    return messageOf(
        Error("not stored: " + saddle.outcome + reason +
              (hasSaddle
                   ? "; its ends have the same bonds, so there is no reaction to store"
                   : "; optimise it with \"saddlefit saddle\" and store what that writes, or allow "
                     "for coarse coordinates by --gradient"))
            .at(question.origin));
}

} // namespace

OwnEnds ownEndsOf(const SaddleQuestionFiles &files, const SaddleOptions &options) {
    const SaddleQuestions questions(files);
    requireMethod(options.method);
    OwnEnds found;
    const auto failure = [](const std::string &what) {
        Delivery delivery;
        delivery.failed = true;
        delivery.messages = "saddlefit: " + what + "\n";
        return delivery;
    };
    const auto work = [&](std::size_t item) {
        try {
            const auto question = questions.read(item);
            const auto saddle = namedSaddle(question.task, options, false);
            const auto [reactant, product, state] = learnedSaddle(question, saddle);
            if (state.empty()) return failure(notStored(question, saddle));
            Delivery delivery;
            delivery.pieces = {reactant, product, state};
            return delivery;
        } catch (const Error &error) {
            return failure(messageOf(error));
        }
    };
    const auto mishap = [&](std::size_t item, const std::string &what) {
        return failure(questions.origin(item).text() + ": " + what);
    };
    std::size_t taken = 0;
    const auto take = [&](const Delivery &delivery) {
        const auto title = questions.title(taken++);
        if (delivery.failed) return found.failed.push_back(title);
        found.records.reactants += delivery.pieces[0];
        found.records.products += delivery.pieces[1];
        found.records.saddles += delivery.pieces[2];
    };
    std::vector<std::size_t> items(questions.count());
    std::iota(items.begin(), items.end(), std::size_t{0});
    if (runBatch(items, work, mishap, {}, {}, take).interrupted)
        throw Error("interrupted; nothing was stored").at({files.geometries});
    return found;
}

} // namespace saddlefit::cli
