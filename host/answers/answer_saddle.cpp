#include "host/answers/answer_saddle.hpp"

#include "host/structures/babel.hpp"
#include "host/structures/perceived_smiles.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

std::vector<StartGeometry> startsFor(const Reaction &reaction, const Answer &answer,
                                     const StoredReactions &stored) {
    std::vector<StartGeometry> starts{{"guess", answer.coordinates}};
    if (answer.stage == Stage::lengths) return starts;
    AnswerOptions options;
    options.stages = {Stage::lengths};
    options.charge = answer.charge;
    options.unpaired = answer.unpaired;
    starts.push_back({"lengths", answerTo(reaction, stored, options).coordinates});
    return starts;
}

/// Of a saddle between both sides of the reaction these are known.
bool hasKnownEnds(const SaddleTry &one) {
    return std::all_of(one.ends.begin(), one.ends.end(), [](const SaddleEnd &end) {
        return end.side == "reactant" || end.side == "product";
    });
}

void nameEnds(const SaddleTask &task, SaddleTry &one) {
    if (task.sides && hasKnownEnds(one)) return;
    try {
        for (auto &end : one.ends) {
            std::vector<StructureAtom> atoms;
            for (std::size_t i = 0; i < task.elements.size(); ++i)
                atoms.push_back({task.elements[i], 0, end.coordinates[i]});
            end.smiles = perceivedSmiles(atoms, task.charge);
        }
    } catch (const Error &) {
        for (auto &end : one.ends) // names are a courtesy
            end.smiles.clear();
    }
}

ReactionSaddle failedSaddle(const std::string &method, const std::string &reason) {
    ReactionSaddle failed;
    failed.outcome = "failed";
    failed.reason = reason;
    failed.level = method;
    return failed;
}

} // namespace

ReactionSaddle saddleFor(const Reaction &reaction, const Answer &answer,
                         const StoredReactions &stored, const AnswerOptions &options) {
    const auto task =
        saddleTask(reaction, startsFor(reaction, answer, stored), answer.charge, answer.unpaired);
    return namedSaddle(task, *options.saddle, true);
}

ReactionSaddle namedSaddle(const SaddleTask &task, const SaddleOptions &options, bool searches) {
    requireMethod(options.method);
    try {
        auto saddle = searches ? saddleOf(task, options) : verificationOf(task, options);
        for (auto &attempt : saddle.attempts)
            nameEnds(task, attempt);
        return saddle;
    } catch (const Error &error) { // of the surface: elements that it does not know
        return failedSaddle(options.method.name, error.what());
    }
}

std::string reactionOver(const SaddleTry &saddle) {
    if (saddle.ends.size() != 2 || saddle.ends[0].smiles.empty()) return {};
    return saddle.ends[0].smiles + ">>" + saddle.ends[1].smiles;
}

} // namespace saddlefit::host
