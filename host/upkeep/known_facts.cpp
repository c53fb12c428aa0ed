#include "host/upkeep/known_facts.hpp"

#include "host/structures/molfile.hpp"
#include "host/structures/units.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace saddlefit::host {

namespace {

template <class Value> struct FactField {
    const char *name;
    const char *otherName; // which is read, too
    Value SideRecord::*member;
};
using TextField = FactField<std::string>;
using CountField = FactField<std::optional<int>>;
using FigureField = FactField<std::optional<double>>;

constexpr const char *none = "";
constexpr TextField levelField{"LEVEL", none, &SideRecord::level};
constexpr FigureField energyField{"ENERGY", "ENERGY_HARTREE", &SideRecord::energy};
constexpr const char *smilesField = "SMILES", *mappedSmilesField = "MAPPED_SMILES";

constexpr std::array textFields{levelField,
                                TextField{"PROGRAM", none, &SideRecord::program},
                                TextField{"VERIFIED", none, &SideRecord::verified},
                                TextField{"SOURCE", none, &SideRecord::source},
                                TextField{"LICENCE", none, &SideRecord::licence},
                                TextField{"DATE", none, &SideRecord::date},
                                TextField{"FAMILY", "REACTION", &SideRecord::family}};
constexpr std::array countFields{CountField{"CHARGE", none, &SideRecord::charge},
                                 CountField{"UNPAIRED", none, &SideRecord::unpaired}};
constexpr std::array figureFields{
    energyField, FigureField{"BARRIER", none, &SideRecord::barrier},
    FigureField{"REVERSE_BARRIER", none, &SideRecord::reverseBarrier},
    FigureField{"WAVENUMBER", "IMAGINARY_FREQUENCY_CM1", &SideRecord::wavenumber}};

using Fields = std::map<std::string, std::string>;

std::string_view trimmed(std::string_view text) {
    constexpr const char *blanks = " \t\r\n";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == text.npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::string textIn(const Fields &fields, const char *name) {
    const auto found = fields.find(name);
    return found == fields.end() ? std::string{} : std::string(trimmed(found->second));
}

template <class Value> std::string textIn(const Fields &fields, const FactField<Value> &fact) {
    auto text = textIn(fields, fact.name);
    return text.empty() ? textIn(fields, fact.otherName) : text;
}

// Nothing without the field, or with an empty one.
template <class Number>
std::optional<Number> numberIn(const Fields &fields, const FactField<std::optional<Number>> &fact,
                               const Place &origin) {
    const auto text = textIn(fields, fact);
    if (text.empty()) return std::nullopt;
    Number value{};
    const auto *begin = text.data() + (text.front() == '+' ? 1 : 0);
    const auto *end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(begin, end, value);
    const bool isFinite = std::isfinite(static_cast<double>(value));
    if (failure == std::errc() && rest == end && isFinite) return value;
    throw Error(std::string("the data field ") + fact.name + " holds \"" + inOneLine(text) +
                "\", which is no number; correct the field or leave it out")
        .at(origin);
}

void takeFields(const Fields &fields, const Place &origin, SideRecord &record) {
    for (const auto &fact : textFields)
        if (auto text = textIn(fields, fact); !text.empty()) record.*fact.member = std::move(text);
    for (const auto &fact : countFields)
        if (const auto value = numberIn(fields, fact, origin)) record.*fact.member = value;
    for (const auto &fact : figureFields)
        if (const auto value = numberIn(fields, fact, origin)) record.*fact.member = value;
    if (record.wavenumber) record.wavenumber = -std::abs(*record.wavenumber);
}

StoredSide sideOf(const Structure &structure) {
    StoredSide side;
    side.smiles = textIn(structure.fields, smilesField);
    if (side.smiles.empty()) side.smiles = textIn(structure.fields, mappedSmilesField);
    side.energy = numberIn(structure.fields, energyField, structure.origin);
    side.bonds = structure.bonds;
    const auto &atoms = structure.atoms;
    const auto isCharged = [](const StructureAtom &atom) { return atom.charge != 0; };
    const bool hasCharges = std::any_of(atoms.begin(), atoms.end(), isCharged);
    for (const auto &atom : atoms) {
        if (hasCharges) side.charges.push_back(atom.charge);
        if (hasCoordinates(atoms)) side.positions.push_back(atom.position);
    }
    return side;
}

// The level that the fields of a side name, if any, has to be that of the transition state.
std::optional<double> barrierFrom(const SideRecord &record, const StoredSide &side,
                                  const Structure &structure) {
    const auto level = textIn(structure.fields, levelField);
    if (!record.energy || !side.energy || (!level.empty() && level != record.level))
        return std::nullopt;
    constexpr double hundredths = 100.0; // kcal/mol; beyond them energies say nothing
    return std::round((*record.energy - *side.energy) * kcalPerHartree * hundredths) / hundredths;
}

} // namespace

SideRecord knownFactsOf(const Reaction &reaction, const SideRecord &otherwise) {
    auto record = otherwise;
    takeFields(reaction.geometryFields, reaction.reactant.origin, record);
    record.reactant = sideOf(reaction.reactant);
    record.product = sideOf(reaction.product);
    for (const auto &atom : reaction.reactant.atoms)
        record.elements.push_back(atom.element);
    if (!record.barrier) record.barrier = barrierFrom(record, record.reactant, reaction.reactant);
    if (!record.reverseBarrier)
        record.reverseBarrier = barrierFrom(record, record.product, reaction.product);
    return record;
}

std::string factFields(const SideRecord &record) {
    std::string text;
    for (const auto &fact : textFields)
        text += field(fact.name, sdfLine(record.*fact.member));
    for (const auto &fact : countFields)
        if (record.*fact.member) text += field(fact.name, std::to_string(*(record.*fact.member)));
    for (const auto &fact : figureFields)
        if (record.*fact.member) text += field(fact.name, jsonText(Json(*(record.*fact.member))));
    return text;
}

std::string factFields(const StoredSide &side) {
    auto text = field(smilesField, sdfLine(side.smiles));
    if (side.energy) text += field(energyField.name, jsonText(Json(*side.energy)));
    return text;
}

} // namespace saddlefit::host
