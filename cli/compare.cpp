#include "cli/host.hpp"
#include "cli/report.hpp"
#include "cli/subcommand.hpp"
#include "host/answers/sdf.hpp"
#include "host/reactions/reaction_files.hpp"
#include "host/structures/labels.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <sstream>

namespace saddlefit::cli {

namespace {

struct CompareOptions {
    std::string predicted;
    std::string actual;
    bool byRecord = false;
};

struct Totals {
    double absolute = 0.0;
    int bonds = 0;
};

std::string fieldOf(const Structure &structure, const char *name) {
    const auto found = structure.fields.find(name);
    return found == structure.fields.end() ? std::string{} : found->second;
}

bool hasAtoms(const Structure &structure, AtomPair atoms) {
    const int count = static_cast<int>(structure.atoms.size());
    return std::min(atoms.first, atoms.second) >= 0 && std::max(atoms.first, atoms.second) < count;
}

std::vector<BondChange> changesIn(const Structure &predicted) {
    std::vector<BondChange> changes;
    std::istringstream lines(fieldOf(predicted, changedBondsField));
    for (int a = 0, b = 0, before = 0, after = 0; lines >> a >> b >> before >> after;) {
        changes.push_back({{a - 1, b - 1}, before, after});
    }
    const bool sound = std::all_of(changes.begin(), changes.end(), [&](const BondChange &change) {
        return hasAtoms(predicted, change.atoms);
    });
    if (sound && !changes.empty()) return changes;
    throw Error(std::string("has no usable field ") + changedBondsField +
                "; the first file must be one that \"saddlefit react -o\" wrote")
        .at(predicted.origin);
}

double distance(const Structure &structure, AtomPair atoms) {
    const auto &p = structure.atoms[static_cast<std::size_t>(atoms.first)].position;
    const auto &q = structure.atoms[static_cast<std::size_t>(atoms.second)].position;
    return distanceBetween(p, q);
}

std::optional<double> constrainedDistance(const Structure &structure, AtomPair atoms) {
    std::istringstream lines(fieldOf(structure, constraintsField));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind;
        int a = 0;
        int b = 0;
        double value = 0.0;
        if (words >> kind >> a >> b >> value && kind == "distance" &&
            orderedPair(a - 1, b - 1) == atoms) {
            return value;
        }
    }
    return std::nullopt;
}

bool hasMatch(const Structure &predicted) {
    return !fieldOf(predicted, matchField).empty();
}

// Without a match the prediction is the estimate in the constraints.
double predictedDistance(const Structure &predicted, AtomPair atoms) {
    if (hasMatch(predicted)) return distance(predicted, atoms);
    return constrainedDistance(predicted, atoms).value_or(distance(predicted, atoms));
}

std::string matchOf(const Structure &predicted) {
    if (!hasMatch(predicted)) return "no match";
    return fieldOf(predicted, outcomeField) + " " + fieldOf(predicted, matchField);
}

// That of the reaction in the files that "react" read; 0 where the field does not tell.
std::size_t recordNumberOf(const Structure &predicted) {
    std::size_t number = 0;
    std::istringstream(fieldOf(predicted, recordField)) >> number;
    return number;
}

const Structure &withNumber(const std::vector<Record> &records, const Structure &predicted,
                            const std::string &path) {
    const auto number = recordNumberOf(predicted);
    if (number >= 1 && number <= records.size()) return structureOf(records[number - 1]);
    throw Error("its number in the field " + std::string(recordField) +
                " is that of no record in " + path + "; compare by title, without --by-record")
        .at(predicted.origin);
}

// "react" calls an untitled record by its number.
const Structure *untitledRecord(const std::vector<Record> &records, const Structure &wanted) {
    const auto number = recordNumberOf(wanted);
    if (number < 1 || number > records.size()) return nullptr;
    const auto *structure = std::get_if<Structure>(&records[number - 1]);
    if (structure == nullptr || !structure->title.empty()) return nullptr;
    return wanted.title == titleOf(*structure, number - 1) ? structure : nullptr;
}

const Structure &withTitle(const std::vector<Record> &records, const Structure &wanted,
                           const std::string &path) {
    const Structure *found = nullptr;
    for (const auto &record : records) {
        const auto *structure = std::get_if<Structure>(&record);
        if (structure == nullptr || structure->title != wanted.title) continue;
        if (found != nullptr) {
            throw Error("a second record of this title; titles must differ, or compare --by-record")
                .at(structure->origin);
        }
        found = structure;
    }
    if (found == nullptr) found = untitledRecord(records, wanted);
    if (found != nullptr) return *found;
    throw Error("no readable record of this title in " + path +
                "; give both records the same title")
        .at(wanted.origin);
}

std::string changeText(const BondChange &change) {
    const auto order = [](int mdlType) {
        return mdlType == mdlAromaticType ? std::string("ar") : std::to_string(mdlType);
    };
    return order(change.before) + " -> " + order(change.after);
}

void printRows(const Structure &predicted, const Structure &actual, Totals &totals) {
    std::string title = predicted.title;
    std::string match = matchOf(predicted);
    for (const auto &change : changesIn(predicted)) {
        const double guess = predictedDistance(predicted, change.atoms);
        const double truth = distance(actual, change.atoms);
        std::printf("%-28s %-30s %-10s %-8s %9.3f %9.3f %+10.3f\n", title.c_str(), match.c_str(),
                    bondLabel(predicted.atoms, change.atoms).c_str(), changeText(change).c_str(),
                    guess, truth, guess - truth);
        title.clear(); // named once, above its bonds
        match.clear();
        if (!hasMatch(predicted)) continue;
        totals.absolute += std::abs(guess - truth);
        ++totals.bonds;
    }
}

int compare(const CompareOptions &options) {
    const auto predictions = readRecords(options.predicted);
    const auto actual = readRecords(options.actual);
    Totals totals;
    int failures = 0;
    std::printf("%-28s %-30s %-10s %-8s %9s %9s %10s\n", "reaction", "match", "bond", "order",
                "predicted", "true", "difference");
    for (const auto &record : predictions) {
        try {
            const auto &predicted = structureOf(record);
            const auto &truth =
                (options.byRecord ? withNumber : withTitle)(actual, predicted, options.actual);
            requireSameAtoms(truth, predicted);
            printRows(predicted, truth, totals);
        } catch (const Error &error) {
            report(error);
            ++failures;
        }
    }
    if (totals.bonds > 0) {
        std::printf("mean absolute difference where there is a match: %.3f angstrom, %d bonds\n",
                    totals.absolute / totals.bonds, totals.bonds);
    }
    return failures == 0 ? allDone : somethingFailed;
}

} // namespace

void addCompareCommand(CLI::App &program, Action &chosen) {
    const auto [command, options] = addSubcommand(
        program, chosen, "compare", "Compare predicted with known transition states", compare);
    addArgument(command, "PREDICTED", options.predicted, "File that \"react -o\" wrote");
    addArgument(command, "TRUE", options.actual, "File with the known transition states");
    command.add_flag("--by-record", options.byRecord,
                     "Pair the records by their numbers, whatever their titles are");
    command.footer(
        "Prints the lengths of each reaction's changing bonds in both, in angstrom, and their\n"
        "change of order. Records are paired by title, untitled ones by their number. Where a\n"
        "reaction found a match, the predicted lengths are those of the written structure, else\n"
        "those that the field CONSTRAINTS has: the usual ones of the database.\n\n"
        "Example:\n"
        "  saddlefit compare guess.sdf ts.sdf");
}

} // namespace saddlefit::cli
