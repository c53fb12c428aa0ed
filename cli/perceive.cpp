#include "cli/answer_output.hpp"
#include "cli/json.hpp"
#include "cli/order_option.hpp"
#include "cli/report.hpp"
#include "cli/result_file.hpp"
#include "cli/subcommand.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/molfile.hpp"
#include "host/structures/reader.hpp"

#include <array>
#include <cstdio>
#include <optional>

namespace saddlefit::cli {

namespace {

constexpr const char *contactsField = "CONTACTS";

struct PerceiveOptions {
    std::string file;
    std::string format;
    std::string output;
    bool json = false;
};

struct Kind {
    int type;
    const char *name;
};
constexpr std::array<Kind, 5> kinds{
    {{1, "single"}, {2, "double"}, {3, "triple"}, {aromaticType, "aromatic"}, {0, "contacts"}}};

std::size_t countOf(const std::vector<StructureBond> &bonds, int type) {
    std::size_t count = 0;
    for (const auto &bond : bonds)
        count += bond.type == type;
    return count;
}

void printText(const std::string &title, const Structure &structure) {
    std::printf("%s\t%zu atoms", title.c_str(), structure.atoms.size());
    for (const auto &[type, name] : kinds)
        std::printf("\t%zu %s", countOf(structure.bonds, type), name);
    std::printf("\n");
}

void printObject(const std::string &title, const Structure &structure) {
    Json object{{"title", title}, {"atoms", structure.atoms.size()}};
    for (const auto &[type, name] : kinds)
        object[name] = countOf(structure.bonds, type);
    auto &elements = object["elements"] = Json::array();
    for (const auto &atom : structure.atoms)
        elements.push_back(elementSymbol(atom.element));
    auto &bonds = object["bonds"] = Json::array();
    for (const auto &[atom1, atom2, type] : structure.bonds)
        bonds.push_back(Json::array({atom1 + 1, atom2 + 1, type}));
    printJsonLine(object);
}

std::string sdfRecordOf(const Structure &structure) {
    return molfile(structure.origin, structure.title, structure.atoms, structure.bonds) +
           field(contactsField, untypedBondLines(structure.bonds)) + sdRecordEnd + "\n";
}

int perceive(const PerceiveOptions &options) {
    requireSdf(options.output);
    const auto records = readRecords(options.file, BondSource::coordinates, options.format);
    const bool prints = options.output != standardOutput;
    std::optional<ResultFile> output;
    if (!options.output.empty()) output.emplace(options.output);
    std::size_t finished = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        try {
            const auto &structure = structureOf(records[i]);
            if (output) output->write(sdfRecordOf(structure));
            if (prints) (options.json ? printObject : printText)(titleOf(structure, i), structure);
            ++finished;
        } catch (const Error &error) {
            report(error);
        }
    }
    if (output && finished > 0) output->commit();
    return finished == records.size() ? allDone : somethingFailed;
}

} // namespace

void addPerceiveCommand(CLI::App &program, Action &chosen) {
    const auto [command, options] = addSubcommand(
        program, chosen, "perceive", "Find bonds and their orders by coordinates", perceive);
    addArgument(command, "FILE", options.file, "Structures; bonds in the file are ignored")
        ->type_name("");
    addInputFormatOption(command, options.format);
    command.add_option("-o,--output", options.output, "Write the structures with bonds (SDF)")
        ->type_name("FILE");
    command.add_flag("--json", options.json, "Print a JSON object per record and line");
    command.footer(
        "Prints a line per record, its columns parted by tabs: title, atoms, bonds by type.\n"
        "Contacts are hydrogen bonds and metal-ligand contacts.\n\n"
        "Example:\n"
        "  saddlefit perceive structures.xyz -o structures.sdf");
}

} // namespace saddlefit::cli
