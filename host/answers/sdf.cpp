#include "host/answers/sdf.hpp"

#include "host/answers/expected_error.hpp"
#include "host/answers/length_source.hpp"
#include "host/answers/saddle_fields.hpp"
#include "host/structures/molfile.hpp"
#include "host/system/text.hpp"

#include <map>
#include <tuple>
#include <utility>

namespace saddlefit::host {

namespace {

std::string changeLines(const std::vector<BondChange> &changes) {
    std::string text;
    for (const auto &change : changes) {
        text += formatted("%d %d %d %d\n", change.atoms.first + 1, change.atoms.second + 1,
                          mdlType(change.before), mdlType(change.after));
    }
    return text;
}

std::string sourceLines(const Reaction &reaction, const Answer &answer) {
    std::string text;
    for (std::size_t i = 0; i < reaction.changes.size(); ++i) {
        const auto &[a, b] = reaction.changes[i].atoms;
        text += formatted("%d %d %s\n", a + 1, b + 1, wordOf(lengthSource(answer, i)));
    }
    return text;
}

std::string constraintLine(const Constraint &constraint) {
    const auto &[a, b, c, d] = std::tie(constraint.a, constraint.b, constraint.c, constraint.d);
    const double value = constraint.value;
    if (c < 0) return formatted("distance %d %d %.6f angstrom\n", a + 1, b + 1, value);
    if (d < 0) return formatted("angle %d %d %d %.4f degrees\n", a + 1, b + 1, c + 1, value);
    return formatted("dihedral %d %d %d %d %.4f degrees\n", a + 1, b + 1, c + 1, d + 1, value);
}

std::string constraintLines(const std::vector<Constraint> &constraints) {
    std::string text;
    for (const auto &constraint : constraints)
        text += constraintLine(constraint);
    return text;
}

std::string atomNumbers(const std::vector<int> &atoms) {
    std::string text;
    for (const int atom : atoms) {
        if (!text.empty()) text += ' ';
        text += std::to_string(atom + 1);
    }
    return text;
}

std::string spreadLine(const Answer &answer) {
    if (!answer.matched() || answer.reports.back().matches.size() < 2) return {};
    return formatted("%.3f", spreadOf(answer.reports.back().matches));
}

std::string rivalLines(const Answer &answer) {
    std::string text;
    for (const auto &rival : answer.rivalMaps)
        text += sdfLine(rival.changes + ": " + rival.match) + "\n";
    return text;
}

std::string expectedErrorLine(const Reaction &reaction, const Answer &answer) {
    const auto expected = expectedErrorOf(reaction, answer);
    return expected ? formatted("%.3f", *expected) : std::string{};
}

std::string joinedLines(const std::vector<std::string> &lines) {
    std::string text;
    for (const auto &one : lines)
        text += one + "\n";
    return text;
}

bool headsRecordField(std::string_view line) {
    return line.starts_with('>') &&
           line.find(std::string("<") + recordField + ">") != std::string_view::npos;
}

std::string recordOf(const Reaction &reaction, const Answer &answer, const std::string &guess) {
    const bool isGuess = !answer.saddle || !answer.saddle->found();
    const auto &origin = reaction.reactant.origin;
    const bool replaced = answer.outcome == Outcome::partial;
    return molfile(origin, reaction.title, placedAtoms(reaction, answer.bestCoordinates()),
                   lastingBonds(reaction, answer)) +
           field(recordField, std::to_string(reaction.number)) + field("GUESS", guess) +
           field(outcomeField, wordOf(answer.outcome)) +
           field("STAGE", answer.stage ? wordOf(*answer.stage) : "") +
           field(matchField, sdfLine(answer.match)) + field("SPREAD", spreadLine(answer)) +
           field("EXPECTED_ERROR", expectedErrorLine(reaction, answer)) +
           field("RELAXED", answer.relaxedBy) + field("CHARGE", std::to_string(answer.charge)) +
           field("UNPAIRED", std::to_string(answer.unpaired)) +
           field("STRAINS", isGuess ? joinedLines(answer.strains) : "") +
           field("WARNINGS", joinedLines(answer.warningTexts())) +
           field("PRODUCT_ATOMS", atomNumbers(reaction.productAtoms)) +
           field("RIVAL_MAPS", rivalLines(answer)) + field("TRANSITION_CODE", answer.code) +
           field("TRANSITIONS", transitionLines(reaction.transitions)) +
           field(changedBondsField, changeLines(reaction.changes)) +
           field("LENGTH_SOURCES", sourceLines(reaction, answer)) +
           field("PARTIAL_BONDS", untypedBondLines(answer.bonds)) +
           field(constraintsField, constraintLines(answer.constraints)) +
           field("START_CONSTRAINTS",
                 replaced ? constraintLines(answer.startConstraints) : std::string{}) +
           field("FROZEN_ATOMS", atomNumbers(answer.frozen)) +
           (answer.saddle ? saddleFields(*answer.saddle) : std::string{}) + sdRecordEnd + "\n";
}

} // namespace

std::vector<StructureBond> lastingBonds(const Reaction &reaction, const Answer &answer) {
    std::map<AtomPair, int> before, after;
    for (const auto &[a, b, type] : reaction.reactant.bonds)
        before[orderedPair(a, b)] = type;
    for (const auto &[a, b, type] : reaction.product.bonds)
        after[orderedPair(a, b)] = type;
    auto bonds = answer.bonds;
    std::erase_if(bonds, [&](const StructureBond &bond) {
        const auto atoms = orderedPair(bond.atom1, bond.atom2);
        return bond.type == 0 || !before.contains(atoms) || !after.contains(atoms);
    });
    for (auto &bond : bonds)
        bond.type = before[orderedPair(bond.atom1, bond.atom2)];
    return bonds;
}

std::string transitionLines(const std::vector<Transition> &transitions) {
    std::string text;
    for (const auto &step : transitions) {
        text += formatted("%d %d %d %d\n", step.breakA + 1, step.breakB + 1, step.formA + 1,
                          step.formB + 1);
    }
    return text;
}

std::string sdfRecords(const Reaction &reaction, const Answer &answer) {
    std::string records = recordOf(reaction, answer, answer.flanks.empty() ? "" : "middle");
    for (const auto &flank : answer.flanks) {
        Answer other = answer;
        other.saddle.reset();
        other.coordinates = flank.coordinates;
        other.strains = flank.strains;
        records += recordOf(reaction, other, std::string("like the ") + flank.like);
    }
    return records;
}

std::vector<Piece> sdfPieces(std::string_view text) {
    std::vector<Piece> pieces;
    Piece piece;
    bool begins = true, numberFollows = false;
    for (CompleteLines lines(text); const auto line = lines.next();) {
        if (std::exchange(begins, false)) piece.title = *line;
        if (numberFollows && piece.item == 0) piece.item = onlyNumberIn(*line).value_or(0);
        numberFollows = headsRecordField(*line);
        if (!line->starts_with(sdRecordEnd)) continue;
        piece.end = lines.offset();
        pieces.push_back(std::exchange(piece, {}));
        begins = true;
    }
    return pieces;
}

std::string sdfTitle(const std::string &title) {
    return sdfLine(title);
}

} // namespace saddlefit::host
