#include "host/answers/saddle_json.hpp"

#include "host/answers/answer_saddle.hpp"
#include "host/structures/elements.hpp"

namespace saddlefit::host {

namespace {

template <class Value> Json orNull(const std::optional<Value> &value) {
    return value ? Json(*value) : Json(nullptr);
}

Json orNull(const std::string &text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json pairsOf(const std::vector<AtomPair> &pairs) {
    Json list = Json::array();
    for (const auto &[a, b] : pairs)
        list.push_back({a + 1, b + 1});
    return list;
}

Json endObject(const std::vector<StructureAtom> &atoms, const SaddleEnd &end) {
    return {{"side", end.side},
            {"energy", end.energy},
            {"made", pairsOf(end.made)},
            {"broken", pairsOf(end.broken)},
            {"smiles", orNull(end.smiles)},
            {"atoms", atomsObject(atoms, end.coordinates)}};
}

Json attemptObject(const std::vector<StructureAtom> &atoms, const SaddleTry &attempt) {
    Json ends = Json::array();
    for (const auto &end : attempt.ends)
        ends.push_back(endObject(atoms, end));
    return {{"start", attempt.start},
            {"outcome", attempt.outcome},
            {"reason", orNull(attempt.reason)},
            {"energy", orNull(attempt.energy)},
            {"gradient", attempt.energy ? Json(attempt.gradient) : Json(nullptr)},
            {"wavenumber", orNull(attempt.wavenumber)},
            {"imaginaryModes", attempt.imaginaryModes},
            {"modeShare", attempt.modeShare},
            {"gradients", attempt.gradients},
            {"gradientsToSaddle", attempt.toSaddle},
            {"reaction", orNull(reactionOver(attempt))},
            {"ends", ends},
            {"atoms", atomsObject(atoms, attempt.coordinates)}};
}

} // namespace

Json atomsObject(const std::vector<StructureAtom> &atoms, const std::vector<Position> &positions) {
    Json list = Json::array();
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const auto &at = positions[i];
        list.push_back(
            {{"symbol", elementSymbol(atoms[i].element)}, {"position", {at.x, at.y, at.z}}});
    }
    return list;
}

Json saddleObject(const std::vector<StructureAtom> &atoms, const ReactionSaddle &saddle) {
    Json attempts = Json::array(), route = Json::array();
    for (const auto &attempt : saddle.attempts)
        attempts.push_back(attemptObject(atoms, attempt));
    for (const auto attempt : saddle.route)
        route.push_back(attempt + 1);
    const auto *found = saddle.found();
    return {{"outcome", saddle.outcome},
            {"reason", orNull(saddle.reason)},
            {"verified", saddle.verified},
            {"level", saddle.level},
            {"check", wordOf(saddle.check)},
            {"energy", found ? orNull(found->energy) : Json(nullptr)},
            {"barrier", orNull(saddle.barrier)},
            {"wavenumber", found ? orNull(found->wavenumber) : Json(nullptr)},
            {"flat", saddle.flat},
            {"gradients", saddle.gradients},
            {"shown", found ? Json(saddle.shown + 1) : Json(nullptr)},
            {"route", route},
            {"depth", orNull(saddle.depth)},
            {"attempts", attempts}};
}

} // namespace saddlefit::host
