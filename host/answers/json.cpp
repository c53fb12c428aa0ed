#include "host/answers/json.hpp"

#include "host/answers/expected_error.hpp"
#include "host/answers/length_source.hpp"
#include "host/answers/saddle_json.hpp"
#include "host/search/direction.hpp"
#include "host/system/json.hpp"

namespace saddlefit::host {

namespace {

constexpr const char *numberKey = "record";
constexpr const char *titleKey = "title";

Json fromOne(const AtomPair &atoms) {
    return {atoms.first + 1, atoms.second + 1};
}

Json fromOne(const std::vector<int> &atoms) {
    Json numbers = Json::array();
    for (const int atom : atoms)
        numbers.push_back(atom + 1);
    return numbers;
}

Json flanksOf(const Reaction &reaction, const Answer &answer) {
    Json flanks = Json::array();
    for (const auto &flank : answer.flanks) {
        flanks.push_back({{"like", flank.like},
                          {"atoms", atomsObject(reaction.reactant.atoms, flank.coordinates)},
                          {"strains", flank.strains}});
    }
    return flanks;
}

Json bondsOf(const std::vector<StructureBond> &bonds) {
    Json list = Json::array();
    for (const auto &bond : bonds)
        list.push_back({bond.atom1 + 1, bond.atom2 + 1, bond.type});
    return list;
}

/// Null for the atoms of a record that has no coordinates.
Json sideOf(const Structure &side) {
    std::vector<Position> positions;
    for (const auto &atom : side.atoms)
        positions.push_back(atom.position);
    return {
        {"atoms", hasCoordinates(side.atoms) ? atomsObject(side.atoms, positions) : Json(nullptr)},
        {"bonds", bondsOf(side.bonds)}};
}

Json changesOf(const Reaction &reaction, const Answer &answer) {
    Json changes = Json::array();
    for (std::size_t i = 0; i < reaction.changes.size(); ++i) {
        const auto &change = reaction.changes[i];
        const auto &[a, b] = change.atoms;
        changes.push_back(
            {{"atoms", fromOne(change.atoms)},
             {"before", change.before},
             {"after", change.after},
             {"role", wordOf(roleOf(change))},
             {"length", distanceBetween(answer.coordinates[static_cast<std::size_t>(a)],
                                        answer.coordinates[static_cast<std::size_t>(b)])},
             {"source", wordOf(lengthSource(answer, i))},
             {"usual", answer.usual[i].length},
             {"usualSource", wordOf(sourceOf(answer.usual[i]))}});
    }
    return changes;
}

Json constraintObject(const Constraint &constraint) {
    Json atoms = Json::array();
    for (const int atom : {constraint.a, constraint.b, constraint.c, constraint.d}) {
        if (atom >= 0) atoms.push_back(atom + 1);
    }
    constexpr std::array kinds{"distance", "angle", "dihedral"};
    return {{"kind", kinds.at(atoms.size() - 2)},
            {"atoms", atoms},
            {"value", constraint.value},
            {"unit", atoms.size() == 2 ? "angstrom" : "degrees"}};
}

Json constraintsOf(const std::vector<Constraint> &constraints) {
    Json list = Json::array();
    for (const auto &constraint : constraints)
        list.push_back(constraintObject(constraint));
    return list;
}

Json rolesOf(const Match &match) {
    Json roles = Json::array();
    for (const auto role : match.roles)
        roles.push_back(wordOf(role));
    return roles;
}

Json lengthsOf(const Match &match) {
    Json lengths = Json::array();
    for (const double length : match.lengths)
        lengths.push_back(length > 0.0 ? Json(length) : Json(nullptr));
    return lengths;
}

Json mapOf(const Match &match) {
    Json map = Json::array();
    for (std::size_t i = 0; i < match.map.size(); ++i) {
        if (match.map[i] >= 0) map.push_back({i + 1, match.map[i] + 1});
    }
    return map;
}

Json matchObject(const Reaction &reaction, const Match &match) {
    Json object{{"name", match.name}, {"exact", match.exact}};
    const auto &figures = match.figures;
    object["composition"] = figures.classBefore;
    object["score"] = figures.score;
    object["weightByElements"] = figures.weightBefore;
    if (match.exact) return object;
    object["class"] = figures.classAfter;
    object["depth"] = figures.depth;
    object["weight"] = figures.weightAfter;
    object["mappedAtoms"] = figures.atoms;
    object["map"] = mapOf(match);
    object["mirrored"] = match.mirrored;
    object["misfit"] = match.misfit;
    object["direction"] = wordOf(directionOf(reaction, match));
    object["roles"] = rolesOf(match);
    object["lengths"] = lengthsOf(match);
    return object;
}

Json reportObject(const Reaction &reaction, const StageReport &report) {
    Json matches = Json::array();
    for (const auto &match : report.matches)
        matches.push_back(matchObject(reaction, match));
    const auto &funnel = report.funnel;
    Json object{{"stage", wordOf(report.stage)},   {"code", report.code},
                {"candidates", funnel.candidates}, {"lookedInto", funnel.lookedInto},
                {"mapped", funnel.mapped},         {"matches", matches}};
    if (report.quality == Quality::refused) object["lastResort"] = true;
    return object;
}

Json searchOf(const Reaction &reaction, const Answer &answer) {
    Json reports = Json::array();
    for (const auto &report : answer.reports)
        reports.push_back(reportObject(reaction, report));
    return reports;
}

/// Null where the order of the atoms stands.
Json pairingOf(const Reaction &reaction, const Answer &answer) {
    if (reaction.productAtoms.empty()) return nullptr;
    Json rivals = Json::array();
    for (const auto &rival : answer.rivalMaps)
        rivals.push_back({{"changes", rival.changes}, {"match", rival.match}});
    return {{"productAtoms", fromOne(reaction.productAtoms)}, {"rivals", rivals}};
}

Json errorTermsObject(const Reaction &reaction, const Answer &answer) {
    const auto terms = errorTermsOf(reaction, answer);
    if (terms.empty()) return nullptr;
    Json object = Json::object();
    for (const auto &[name, value] : terms)
        object[name] = value;
    return object;
}

Json placementOf(const Answer &answer) {
    if (answer.usualLengths) return "lengths";
    return answer.matched() ? Json("match") : Json(nullptr);
}

std::string asLine(const Json &object) {
    return jsonText(object) + "\n";
}

Piece pieceIn(std::string_view line) {
    Piece piece;
    const auto object = Json::parse(line, nullptr, false);
    if (!object.is_object()) return piece;
    const auto number = object.find(numberKey), title = object.find(titleKey);
    if (number != object.end() && number->is_number_unsigned()) number->get_to(piece.item);
    if (title != object.end() && title->is_string()) title->get_to(piece.title);
    return piece;
}

} // namespace

std::string jsonLine(const Reaction &reaction, const Answer &answer) {
    Json object{{numberKey, reaction.number}, {titleKey, reaction.title}};
    object["outcome"] = wordOf(answer.outcome);
    object["stage"] = answer.stage ? Json(wordOf(*answer.stage)) : Json(nullptr);
    object["match"] = answer.match.empty() ? Json(nullptr) : Json(answer.match);
    object["code"] = answer.code;
    object["charge"] = answer.charge;
    object["unpaired"] = answer.unpaired;
    object["pairing"] = pairingOf(reaction, answer);
    object["changes"] = changesOf(reaction, answer);
    object["spread"] = nullptr;
    if (answer.matched() && answer.reports.back().matches.size() > 1)
        object["spread"] = spreadOf(answer.reports.back().matches);
    object["confidence"] = confidenceOf(reaction, answer);
    const auto expected = expectedErrorOf(reaction, answer);
    object["expectedError"] = expected ? Json(*expected) : Json(nullptr);
    object["errorTerms"] = errorTermsObject(reaction, answer);
    object["placement"] = placementOf(answer);
    object["search"] = searchOf(reaction, answer);
    object["atoms"] = atomsObject(reaction.reactant.atoms, answer.coordinates);
    object["flanks"] = flanksOf(reaction, answer);
    object["bonds"] = bondsOf(answer.bonds);
    object["reactant"] = sideOf(reaction.reactant);
    object["product"] = sideOf(reaction.product);
    object["frozen"] = fromOne(answer.frozen);
    object["constraints"] = constraintsOf(answer.constraints);
    object["startConstraints"] = constraintsOf(answer.startConstraints);
    object["relaxed"] = answer.relaxedBy.empty() ? Json(nullptr) : Json(answer.relaxedBy);
    object["strains"] = answer.strains;
    object["warnings"] = answer.warningTexts();
    if (answer.saddle) object["saddle"] = saddleObject(reaction.reactant.atoms, *answer.saddle);
    return asLine(object);
}

std::string jsonFailureLine(std::size_t number, const std::string &title,
                            const std::string &error) {
    return asLine({{numberKey, number}, {titleKey, title}, {"error", error}});
}

std::vector<Piece> jsonPieces(std::string_view text) {
    std::vector<Piece> pieces;
    for (CompleteLines lines(text); const auto line = lines.next();) {
        pieces.push_back(pieceIn(*line));
        pieces.back().end = lines.offset();
    }
    return pieces;
}

std::string jsonTitle(const std::string &title) {
    return inUtf8(title);
}

} // namespace saddlefit::host
