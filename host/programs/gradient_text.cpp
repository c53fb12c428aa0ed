#include "host/programs/gradient_text.hpp"

#include "host/programs/printed_text.hpp"
#include "host/programs/program_inputs.hpp"
#include "host/structures/units.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <limits>
#include <sstream>

namespace saddlefit::host {

namespace {

constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

std::string chargeAndMultiplicity(const GradientJob &job) {
    return std::to_string(job.charge) + " " + std::to_string(job.unpaired + 1);
}

bool has(const std::string &line, const char *part) {
    return line.find(part) != std::string::npos;
}

/// The first number behind the last "=" of a line, or the last word of one without it.
double valueIn(const std::string &line) {
    const auto words = wordsIn(line.substr(line.find_last_of('=') + 1));
    if (words.empty()) return noNumber;
    return numberIn(has(line, "=") ? words.front() : words.back()).value_or(noNumber);
}

/// The rows of a table: from each the last three numbers out of so many, up to the first row that
/// is none.
std::vector<double> lastThreeOfRows(std::istream &lines, std::size_t wordsInRow) {
    std::vector<double> values;
    for (std::string line; std::getline(lines, line);) {
        const auto words = wordsIn(line);
        if (words.size() != wordsInRow) break;
        for (auto word = words.end() - 3; word != words.end(); ++word)
            values.push_back(numberIn(*word).value_or(noNumber));
    }
    return values;
}

void skip(std::istream &lines, int count) {
    std::string line;
    for (int i = 0; i < count; ++i)
        std::getline(lines, line);
}

} // namespace

// ---- inputs -------------------------------------------------------------------------------------

// ORCA begins with the orbitals of its last run by itself where the names of the files are the
// same.
std::string orcaGradientInput(const GradientJob &job) {
    return "! " + job.method + " EnGrad\n* xyz " + chargeAndMultiplicity(job) + "\n" +
           atomLines(job.atoms) + "*\n";
}

std::string gaussianGradientInput(const GradientJob &job) {
    return "%Chk=molecule.chk\n#P " + job.method + " Force NoSymm" +
           (job.goesOn ? " Guess=Read" : "") + "\n\ngradient\n\n" + chargeAndMultiplicity(job) +
           "\n" + atomLines(job.atoms) + "\n";
}

std::string psi4GradientInput(const GradientJob &job) {
    return "molecule {\n" + chargeAndMultiplicity(job) + "\n" + atomLines(job.atoms) +
           "units angstrom\nno_com\nno_reorient\nsymmetry c1\n}\nset reference " +
           (job.unpaired > 0 ? "uhf" : "rhf") + "\ngradient('" + job.method +
           "')\nwith open('molecule.engrad', 'w') as file:\n"
           "    rows = variable('CURRENT GRADIENT').to_array()\n"
           "    print(len(rows), '%.12f' % variable('CURRENT ENERGY'), file=file)\n"
           "    for row in rows:\n"
           "        print('%.12f %.12f %.12f' % tuple(row), file=file)\n";
}

namespace {

// What makes a gradient by finite differences' worth of digits.
constexpr const char *tightScf = "  thresh 1e-7\n";
constexpr const char *tightDft = "  convergence energy 1e-9 density 1e-7\n  grid fine\n";

} // namespace

std::string nwchemGradientInput(const GradientJob &job) {
    const auto slash = job.method.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 == job.method.size())
        throw Error("\"" + job.method +
                    "\" is no method of NWChem with its basis; give it as hf/sto-3g");
    const auto method = job.method.substr(0, slash), basis = job.method.substr(slash + 1);
    const bool isHartreeFock = method == "hf" || method == "mp2";
    std::string text = "start molecule\ncharge " + std::to_string(job.charge) +
                       "\ngeometry units angstroms noautosym noautoz nocenter\n" +
                       atomLines(job.atoms) + "end\nbasis\n  * library \"" + basis + "\"\nend\n";
    text +=
        isHartreeFock ? std::string("scf\n") + tightScf : "dft\n  xc " + method + "\n" + tightDft;
    if (job.unpaired > 0)
        text += formatted(isHartreeFock ? "  uhf\n  nopen %d\n" : "  mult %d\n",
                          isHartreeFock ? job.unpaired : job.unpaired + 1);
    if (job.goesOn) text += "  vectors input molecule.movecs\n";
    return text + "end\ntask " +
           (method == "mp2" ? "mp2"
            : isHartreeFock ? "scf"
                            : "dft") +
           " gradient\n";
}

// MOPAC refuses atoms that are nearer to each other than they are in stable molecules, unless it is
// told that this is right.
std::string mopacGradientInput(const GradientJob &job) {
    std::string text =
        job.method +
        formatted(" 1SCF GRADIENTS NOREOR PRECISE GEO-OK XYZ THREADS=1 AUX "
                  "CHARGE=%d%s",
                  job.charge,
                  job.unpaired > 0 ? formatted(" UHF MS=%.1f", 0.5 * job.unpaired).c_str() : "") +
        "\ngradient\n\n";
    for (const auto &line : job.atoms)
        text += atomLines({line});
    return text;
}

std::string xyzWithElectrons(const GradientJob &job) {
    return std::to_string(job.atoms.size()) +
           formatted("\ncharge=%d uhf=%d\n", job.charge, job.unpaired) + atomLines(job.atoms);
}

// ---- outputs ------------------------------------------------------------------------------------

EnergyAndGradient engradIn(const std::string &text) {
    std::istringstream lines(text);
    std::vector<double> values;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('#')) continue;
        for (const auto &word : wordsIn(line))
            values.push_back(numberIn(word).value_or(noNumber));
    }
    if (values.size() < 2 || !(values[0] >= 1)) return {noNumber, {}};
    const auto end = std::min(2 + 3 * static_cast<std::size_t>(values[0]), values.size());
    return {values[1], {values.begin() + 2, values.begin() + static_cast<std::ptrdiff_t>(end)}};
}

// The energy of perturbation theory stands behind that of the orbitals.
EnergyAndGradient gaussianGradientIn(const std::string &text) {
    EnergyAndGradient result{noNumber, {}};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (has(line, "SCF Done:") || has(line, "EUMP2 =") || has(line, " E2("))
            result.energy = valueIn(line);
        if (!has(line, "Forces (Hartrees/Bohr)")) continue;
        skip(lines, 2);
        result.gradient = lastThreeOfRows(lines, 5);
        for (double &value : result.gradient)
            value = -value;
    }
    return result;
}

EnergyAndGradient nwchemGradientIn(const std::string &text) {
    EnergyAndGradient result{noNumber, {}};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (has(line, "Total SCF energy") || has(line, "Total DFT energy") ||
            has(line, "Total MP2 energy"))
            result.energy = valueIn(line);
        if (!has(line, "ENERGY GRADIENTS")) continue;
        skip(lines, 3);
        result.gradient = lastThreeOfRows(lines, 8);
    }
    return result;
}

// Energies are heats of formation.
EnergyAndGradient mopacGradientIn(const std::string &text) {
    EnergyAndGradient result{noNumber, {}};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (has(line, "HEAT_OF_FORMATION:KCAL/MOL="))
            result.energy = valueIn(line) / kcalPerHartree;
        if (!has(line, "GRADIENTS:KCAL/MOL/ANGSTROM[")) continue;
        for (std::string row; std::getline(lines, row) && !has(row, "[") && !has(row, "#");)
            for (const auto &word : wordsIn(row))
                result.gradient.push_back(numberIn(word).value_or(noNumber) * angstromPerBohr /
                                          kcalPerHartree);
    }
    return result;
}

} // namespace saddlefit::host
