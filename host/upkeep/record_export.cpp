#include "host/upkeep/record_export.hpp"

#include "host/reactions/transitions.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/molfile.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/known_facts.hpp"
#include "host/upkeep/record_filter.hpp"

namespace saddlefit::host {

namespace {

std::string sdRecord(const Place &origin, const Structure &structure, const std::string &fields) {
    return molfile(origin, inOneLine(structure.title), structure.atoms, structure.bonds) + fields +
           sdRecordEnd + "\n";
}

// A value with quotation marks of its own gets other ones.
std::string pair(const char *key, std::string value) {
    if (value.empty()) return {};
    value = inOneLine(value);
    for (auto &c : value)
        if (c == '"') c = '\'';
    return std::string(" ") + key + "=\"" + value + "\"";
}

std::string pair(const char *key, const std::optional<double> &value) {
    return value ? std::string(" ") + key + "=" + jsonText(Json(*value)) : std::string{};
}

std::string factPairs(const SideRecord &known) {
    std::string text =
        pair("level", known.level) + pair("program", known.program) +
        pair("verified", known.verified) + pair("source", known.source) +
        pair("licence", known.licence) + pair("date", known.date) + pair("family", known.family) +
        pair("quality", wordOf(known.quality)) + pair("energy_hartree", known.energy) +
        pair("barrier_kcal", known.barrier) + pair("reverse_barrier_kcal", known.reverseBarrier) +
        pair("wavenumber_cm", known.wavenumber) + pair("reactant_smiles", known.reactant.smiles) +
        pair("product_smiles", known.product.smiles);
    if (known.charge) text += formatted(" charge=%d", *known.charge);
    if (known.unpaired) text += formatted(" unpaired=%d", *known.unpaired);
    return text;
}

} // namespace

ReactionRecords reactionRecords(const Place &origin, const CatalogueEntry &entry) {
    const auto sides = sidesOf(entry);
    if (sides.empty())
        throw Error("the record's bonds are not such as its transitions leave, and its sides are "
                    "not known; leave it out")
            .at(origin);
    auto state = sides[0];
    for (std::size_t i = 0; i < state.atoms.size(); ++i)
        state.atoms[i].position = entry.record.atoms[i].position;
    const SideRecord none;
    const auto &known = entry.known ? *entry.known : none;
    return {sdRecord(origin, sides[0], factFields(known.reactant)),
            sdRecord(origin, sides[1], factFields(known.product)),
            sdRecord(origin, state, factFields(known))};
}

std::string extendedXyz(const CatalogueEntry &entry) {
    const auto &[record, known] = entry;
    auto text =
        formatted("%zu\nProperties=species:S:1:pos:R:3 pbc=\"F F F\"", record.atoms.size()) +
        pair("name", record.name) + pair("code", codeInSymbols(record.code.data())) +
        (known ? factPairs(*known) : std::string{}) + "\n";
    for (const auto &[element, charge, at] : record.atoms)
        text += formatted("%-2s %14.8f %14.8f %14.8f\n", elementSymbol(element).c_str(), at.x, at.y,
                          at.z);
    return text;
}

} // namespace saddlefit::host
