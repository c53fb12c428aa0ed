#include "cli/answer_output.hpp"
#include "cli/database/db_commands.hpp"
#include "cli/report.hpp"
#include "cli/result_file.hpp"
#include "host/answers/sdf.hpp"
#include "host/reactions/transitions.hpp"
#include "host/store/catalogue.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/labels.hpp"
#include "host/structures/molfile.hpp"
#include "host/system/text.hpp"
#include "host/upkeep/known_facts.hpp"

#include <cstdio>
#include <utility>

namespace saddlefit::cli {

namespace {

struct ShowOptions : DbOptions {
    std::string which;
    std::string output;
};

/// Of a half of a transition, in which no bond may fall or rise.
std::string halfLabel(const StoredRecord &record, int a, int b) {
    return a < 0 || b < 0 ? "none" : bondLabel(record.atoms, {a, b});
}

void printKnown(const SideRecord &known) {
    auto facts = Json::parse(sideLine(known));
    for (const char *shownElsewhere : {"digest", "name", "elements", "reactant", "product"})
        facts.erase(shownElsewhere);
    for (const auto &[name, value] : facts.items()) {
        const auto text = value.is_string() ? value.get<std::string>() : jsonText(value);
        std::printf("%s\t%s\n", name.c_str(), inOneLine(text).c_str());
    }
    for (const auto &[name, side] :
         {std::pair("reactant", &known.reactant), std::pair("product", &known.product)}) {
        if (!side->smiles.empty()) std::printf("%s\t%s\n", name, inOneLine(side->smiles).c_str());
    }
}

void print(const StoredRecord &record) {
    std::printf("name\t%s\ncode\t%s\n%zu atoms\n", inOneLine(record.name).c_str(),
                codeInSymbols(record.code.data()).c_str(), record.atoms.size());
    for (int i = 0; const auto &atom : record.atoms) {
        const auto &at = atom.position;
        std::printf("%-6s %12.6f %12.6f %12.6f\n", labelIn(record.atoms, i++).c_str(), at.x, at.y,
                    at.z);
    }
    std::printf("%zu bonds\n", record.bonds.size());
    for (const auto &bond : record.bonds) {
        std::printf("%-13s %d\n", bondLabel(record.atoms, {bond.atom1, bond.atom2}).c_str(),
                    bond.type);
    }
    std::printf("%zu transitions\n", record.transitions.size());
    for (const auto &step : record.transitions) {
        std::printf("%s falls, %s rises\n", halfLabel(record, step.breakA, step.breakB).c_str(),
                    halfLabel(record, step.formA, step.formB).c_str());
    }
}

// Atoms by their number from 1; null where a half names none.
Json pairOf(int a, int b) {
    if (a < 0 || b < 0) return nullptr;
    return Json::array({a + 1, b + 1});
}

Json asJson(const ShowOptions &options, std::size_t position, const CatalogueEntry &entry) {
    const auto &record = entry.record;
    Json atoms = Json::array();
    for (const auto &[element, charge, at] : record.atoms) {
        atoms.push_back({{"symbol", elementSymbol(element)},
                         {"element", element},
                         {"position", Json::array({at.x, at.y, at.z})}});
    }
    Json bonds = Json::array();
    for (const auto &bond : record.bonds) {
        bonds.push_back(Json::array({bond.atom1 + 1, bond.atom2 + 1, bond.type}));
    }
    Json transitions = Json::array();
    for (const auto &step : record.transitions) {
        transitions.push_back({{"falls", pairOf(step.breakA, step.breakB)},
                               {"rises", pairOf(step.formA, step.formB)}});
    }
    const auto known = entry.known ? Json::parse(sideLine(*entry.known)) : Json(nullptr);
    return {{"file", options.database},
            {"position", position},
            {"name", record.name},
            {"code", codeInSymbols(record.code.data())},
            {"bytes", record.bytes},
            {"atoms", atoms},
            {"bonds", bonds},
            {"transitions", transitions},
            {"known", known}};
}

// The fields are those of finished reactions.
std::string asSdf(const Place &origin, const CatalogueEntry &entry) {
    const auto &record = entry.record;
    return molfile(origin, inOneLine(record.name), record.atoms, record.bonds) +
           field("TRANSITION_CODE", codeInSymbols(record.code.data())) +
           field("TRANSITIONS", transitionLines(record.transitions)) +
           field("PARTIAL_BONDS", untypedBondLines(record.bonds)) +
           (entry.known ? factFields(*entry.known) : std::string{}) + sdRecordEnd + "\n";
}

// By its position a record is shown whatever is damaged behind it.
std::size_t positionOf(const ShowOptions &options) {
    if (const auto position = positionIn(options.which)) return *position;
    return Catalogue(options.database).positionOf(options.which);
}

int show(const ShowOptions &options) {
    const auto position = positionOf(options);
    const auto entry = entryIn(options.database, position);
    if (!options.output.empty()) {
        requireOtherFile(options.output, options.database);
        requireSdf(options.output);
        ResultFile file(options.output);
        file.write(asSdf({options.database, position}, entry));
        file.commit();
    }
    if (options.output == standardOutput) return allDone;
    if (options.json) {
        printJson(asJson(options, position, entry));
        return allDone;
    }
    print(entry.record);
    if (entry.known) printKnown(*entry.known);
    return allDone;
}

} // namespace

void addDbShowCommand(CLI::App &db, Action &chosen) {
    const auto [command, options] = addDbSubcommand(db, chosen, "show", "Print a record", show);
    addArgument(command, "RECORD", options.which,
                "Its position, as \"saddlefit db list\" prints it, or its name");
    command.add_option("-o,--output", options.output, "Write the structure (SDF)")
        ->type_name("FILE");
    command.footer("Atoms are numbered from 1. Bond types: 0 about to form or break, 1 to 4, and\n"
                   "5 aromatic.\n\n"
                   "Example:\n"
                   "  saddlefit db show reactions.db 0 -o ts.sdf");
}

} // namespace saddlefit::cli
