#include "host/structures/stereo.hpp"

#include "cli/json.hpp"
#include "cli/order_option.hpp"
#include "cli/report.hpp"
#include "cli/subcommand.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/reader.hpp"

#include <algorithm>
#include <cstdio>

namespace saddlefit::cli {

namespace {

struct StereoOptions {
    std::string file;
    std::string format;
    bool centresOnly = false;
    bool json = false;
};

struct LabelledAtom {
    std::string label;
    std::string element;
    char code;
};

std::vector<LabelledAtom> labelledAtoms(const Structure &structure) {
    const auto codes = stereoCodes(structure);
    std::vector<LabelledAtom> atoms;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const int element = structure.atoms[i].element;
        atoms.push_back(
            {atomLabel(element, static_cast<int>(i)), elementSymbol(element), codes[i]});
    }
    return atoms;
}

std::size_t countOf(const std::vector<LabelledAtom> &atoms, char code) {
    return static_cast<std::size_t>(
        std::count_if(atoms.begin(), atoms.end(),
                      [code](const LabelledAtom &atom) { return atom.code == code; }));
}

void printText(const std::string &title, const std::vector<LabelledAtom> &atoms, bool centresOnly) {
    std::printf("%s\t%zu atoms\t%zu R\t%zu S\n", title.c_str(), atoms.size(), countOf(atoms, 'R'),
                countOf(atoms, 'S'));
    for (const auto &[label, element, code] : atoms) {
        if (code == '-' && centresOnly) continue;
        std::printf("%s\t%s\t%c\n", label.c_str(), element.c_str(), code);
    }
}

void printObject(const std::string &title, const std::vector<LabelledAtom> &atoms,
                 bool centresOnly) {
    Json list = Json::array();
    for (const auto &[label, element, code] : atoms) {
        if (code == '-' && centresOnly) continue;
        list.push_back({{"label", label}, {"element", element}, {"code", std::string(1, code)}});
    }
    printJsonLine({{"title", title},
                   {"R", countOf(atoms, 'R')},
                   {"S", countOf(atoms, 'S')},
                   {"atoms", std::move(list)}});
}

int stereo(const StereoOptions &options) {
    const auto records = readRecords(options.file, BondSource::fileOrCoordinates, options.format);
    int failures = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        try {
            const auto &structure = structureOf(records[i]);
            const auto atoms = labelledAtoms(structure);
            const auto print = options.json ? printObject : printText;
            print(titleOf(structure, i), atoms, options.centresOnly);
        } catch (const Error &error) {
            report(error);
            ++failures;
        }
    }
    return failures == 0 ? allDone : somethingFailed;
}

} // namespace

void addStereoCommand(CLI::App &program, Action &chosen) {
    const auto [command, options] =
        addSubcommand(program, chosen, "stereo", "Print the R/S code of each atom", stereo);
    addArgument(command, "FILE", options.file, "Structures; bonds are found where none are given")
        ->type_name("");
    addInputFormatOption(command, options.format);
    command.add_flag("--centres", options.centresOnly, "Leave out atoms that have no code");
    command.add_flag("--json", options.json, "Print a JSON object per record and line");
    command.footer(
        "Prints for each record a line with the title and the numbers of atoms, R and S, then a\n"
        "line per atom: label, element, code (R, S or -), parted by tabs. The order of the\n"
        "substituents is the library's own; see docs/perception.md.\n\n"
        "Example:\n"
        "  saddlefit stereo structures.sdf --centres");
}

} // namespace saddlefit::cli
