#include "host/answers/saddle_questions.hpp"

#include "host/answers/saddle_fields.hpp"
#include "host/answers/saddle_json.hpp"
#include "host/answers/sdf.hpp"
#include "host/reactions/electrons.hpp"
#include "host/structures/molfile.hpp"
#include "host/structures/xyz.hpp"

#include <algorithm>
#include <set>
#include <sstream>

namespace saddlefit::host {

namespace {

constexpr const char *chargeField = "CHARGE";
constexpr const char *unpairedField = "UNPAIRED";

std::optional<int> numberIn(const Structure &structure, const char *name) {
    const auto found = structure.fields.find(name);
    if (found == structure.fields.end()) return std::nullopt;
    int number = 0;
    return std::istringstream(found->second) >> number ? std::optional(number) : std::nullopt;
}

/// The bonds of both sides out of those that last and those that change, as "react" writes them;
/// nothing without such a field.
std::optional<std::array<SaddleSide, 2>> sidesIn(const Structure &structure) {
    const auto field = structure.fields.find(changedBondsField);
    if (field == structure.fields.end()) return std::nullopt;
    SaddleSide lasting;
    for (const auto &bond : structure.bonds)
        lasting.bonds.push_back(orderedPair(bond.atom1, bond.atom2));
    std::array sides{lasting, lasting};
    const int count = static_cast<int>(structure.atoms.size());
    std::istringstream lines(field->second);
    for (int a = 0, b = 0, before = 0, after = 0; lines >> a >> b >> before >> after;) {
        if (std::min(a, b) < 1 || std::max(a, b) > count || a == b)
            throw Error(std::string("the field ") + changedBondsField +
                        " names atoms that the record has not; correct or remove it")
                .at(structure.origin);
        const auto bond = orderedPair(a - 1, b - 1);
        for (auto &side : sides)
            std::erase(side.bonds, bond);
        if (before != 0) sides[0].bonds.push_back(bond);
        if (after != 0) sides[1].bonds.push_back(bond);
    }
    return sides;
}

std::vector<StructureBond> lastingBonds(const Reaction &reaction) {
    std::set<AtomPair> after;
    for (const auto &bond : reaction.product.bonds)
        if (bond.type != 0) after.insert(orderedPair(bond.atom1, bond.atom2));
    auto bonds = reaction.reactant.bonds;
    std::erase_if(bonds, [&](const StructureBond &bond) {
        return bond.type == 0 || !after.contains(orderedPair(bond.atom1, bond.atom2));
    });
    return bonds;
}

void requirePlaces(const Structure &structure) {
    if (!structure.atoms.empty() && hasCoordinates(structure.atoms)) return;
    throw Error("there are no coordinates to begin with; give a structure in space")
        .at(structure.origin);
}

void takeElectrons(const Electrons &electrons, SaddleQuestion &question) {
    question.task.charge = electrons.charge;
    question.task.unpaired = electrons.unpaired;
    question.warnings.insert(question.warnings.end(), electrons.doubts.begin(),
                             electrons.doubts.end());
}

void takeReaction(const Reaction &reaction, const GivenElectrons &given, SaddleQuestion &question) {
    for (const auto &warning : reaction.warnings)
        question.warnings.push_back({warning});
    question.bonds = lastingBonds(reaction);
    question.task = saddleTask(reaction, {{"guess", reaction.coordinates}}, 0, 0);
    takeElectrons(electronsOf(reaction.reactant, reaction.product, given), question);
}

void takeRecord(const Structure &structure, const GivenElectrons &given, SaddleQuestion &question) {
    question.bonds = structure.bonds;
    question.task.sides = sidesIn(structure);
    question.task.starts = {{"guess", positionsOf(structure.atoms)}};
    for (const auto &atom : structure.atoms)
        question.task.elements.push_back(atom.element);
    takeElectrons(electronsOf(structure, structure, given), question);
}

std::vector<StructureAtom> atomsToWrite(const SaddleQuestion &question,
                                        const ReactionSaddle &saddle) {
    auto atoms = question.atoms;
    if (const auto *found = saddle.found()) {
        for (std::size_t i = 0; i < atoms.size(); ++i)
            atoms[i].position = found->coordinates[i];
    }
    return atoms;
}

} // namespace

SaddleQuestions::SaddleQuestions(const SaddleQuestionFiles &files)
    : files_(files), geometries_(files.geometries) {
    if (files.reactants.empty()) return;
    reactions_ = std::make_unique<ReactionReader>(
        ReactionFiles{{files.reactants, files.products}, files.geometries}, Start::file,
        Orders::harmonised, PairOptions{}, BareSideOptions{BondFinder::openBabel, files.charge});
}

std::string SaddleQuestions::title(std::size_t index) const {
    const auto record = geometries_.read(index);
    const auto *structure = std::get_if<Structure>(&record);
    return structure ? titleOf(*structure, index) : "record " + std::to_string(index + 1);
}

Place SaddleQuestions::origin(std::size_t index) const {
    const auto record = geometries_.read(index);
    const auto *structure = std::get_if<Structure>(&record);
    return structure ? structure->origin : Place{files_.geometries, index + 1};
}

SaddleQuestion SaddleQuestions::read(std::size_t index) const {
    const auto record = geometries_.read(index);
    const auto &structure = structureOf(record);
    requirePlaces(structure);
    SaddleQuestion question;
    question.number = index + 1;
    question.title = titleOf(structure, index);
    question.origin = structure.origin;
    question.atoms = structure.atoms;
    question.fields = structure.fields;
    const GivenElectrons given{files_.charge ? files_.charge : numberIn(structure, chargeField),
                               files_.unpaired ? files_.unpaired
                                               : numberIn(structure, unpairedField)};
    if (reactions_)
        takeReaction(reactions_->read(index).front(), given, question);
    else
        takeRecord(structure, given, question);
    return question;
}

std::string sdfRecord(const SaddleQuestion &question, const ReactionSaddle &saddle) {
    std::string text =
        molfile(question.origin, question.title, atomsToWrite(question, saddle), question.bonds) +
        field(recordField, std::to_string(question.number)) +
        field(chargeField, std::to_string(question.task.charge)) +
        field(unpairedField, std::to_string(question.task.unpaired));
    for (const auto &[name, value] : question.fields) {
        const bool isWritten = name == recordField || name == chargeField || name == unpairedField;
        if (!isWritten && !isSaddleField(name)) text += field(name.c_str(), value);
    }
    return text + saddleFields(saddle) + sdRecordEnd + "\n";
}

std::string xyzRecord(const SaddleQuestion &question, const ReactionSaddle &saddle) {
    return xyzRecord(question.title + " record=" + std::to_string(question.number) +
                         saddleWords(saddle),
                     atomsToWrite(question, saddle));
}

std::string jsonLine(const SaddleQuestion &question, const ReactionSaddle &saddle) {
    const Json object{{"record", question.number},
                      {"title", question.title},
                      {"charge", question.task.charge},
                      {"unpaired", question.task.unpaired},
                      {"atoms", atomsObject(question.atoms, positionsOf(question.atoms))},
                      {"saddle", saddleObject(question.atoms, saddle)}};
    return jsonText(object) + "\n";
}

} // namespace saddlefit::host
