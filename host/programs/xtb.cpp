#include "host/programs/xtb.hpp"

#include "host/programs/printed_text.hpp"
#include "host/programs/successful_run.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/superposition.hpp"
#include "host/structures/units.hpp"
#include "host/system/error.hpp"
#include "host/system/temporary_folder.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <sstream>

namespace saddlefit::host {

namespace {

// More than this is no give of springs. Where the others pull hardest, distances between fixed
// atoms were seen to give by 0.013 angstrom.
constexpr double mostGiving = 0.1; // angstrom

constexpr std::size_t quotedLines = 8;

struct Method {
    const char *name;
    std::vector<std::string> arguments;
};

const std::array<Method, 4> methods{{
    {"gfn2", {"--gfn", "2"}},
    {"gfn1", {"--gfn", "1"}},
    {"gfn0", {"--gfn", "0"}},
    {"gfnff", {"--gfnff"}},
}};

const std::vector<std::string> &methodArguments(const std::string &name) {
    for (const auto &method : methods) {
        if (name == method.name) return method.arguments;
    }
    throw Error("xtb has no method \"" + name + "\"; choose one of gfn2, gfn1, gfn0, gfnff");
}

// ---- what xtb said ------------------------------------------------------------------------------

// xtb frames its message by lines of #. The backtrace that follows is of no use.
std::vector<std::string> essenceOf(const std::vector<std::string> &log) {
    const auto has = [](const char *part) {
        return [part](const std::string &text) { return text.find(part) != std::string::npos; };
    };
    auto begin = std::find_if(log.begin(), log.end(), has("[ERROR]"));
    const auto end = begin != log.end() ? std::find_if(begin, log.end(), has("####"))
                                        : std::find_if(log.begin(), log.end(), has("Backtrace"));
    if (begin == log.end()) begin = log.begin();
    std::vector<std::string> said;
    std::copy_if(begin, end, std::back_inserter(said),
                 [](const std::string &text) { return text.find_first_not_of(' ') != text.npos; });
    if (said.size() > quotedLines) {
        said.erase(said.begin(), said.end() - static_cast<std::ptrdiff_t>(quotedLines));
    }
    return said;
}

std::string quoted(const std::string &log) {
    std::string text;
    for (const auto &one : essenceOf(linesOf(log)))
        text += "\n  " + one;
    return text.empty() ? "; it said nothing" : "; it said at the end:" + text;
}

// ---- the run ------------------------------------------------------------------------------------

ProgramAdvice adviceOn(const ProgramCall &call) {
    return {"xtb",
            "install it (Debian, Ubuntu: apt-get install xtb; conda: conda install -c conda-forge "
            "xtb)",
            "allow more time, or start nearer to the target",
            "check geometry, charge and unpaired electrons",
            [log = call.log] { return quoted(log); }};
}

ProgramCall callFor(const TemporaryFolder &folder, const std::string &input,
                    const XtbOptions &options) {
    ProgramCall call;
    call.program = options.program;
    call.arguments = {input, "--input", input, "--opt", "--norestart"};
    const auto &method = methodArguments(options.method);
    call.arguments.insert(call.arguments.end(), method.begin(), method.end());
    call.folder = folder.path();
    call.log = folder.file("log");
    call.environment = {{"OMP_NUM_THREADS", "1"},
                        {"OMP_STACKSIZE", "1G"},
                        {"MKL_NUM_THREADS", "1"},
                        {"OPENBLAS_NUM_THREADS", "1"}};
    call.timeLimit = options.timeLimit;
    return call;
}

// ---- the result ---------------------------------------------------------------------------------

[[noreturn]] void failReading(const std::string &what, const std::string &log) {
    throw Error(ErrorKind::program, "xtb gave no usable structure: " + what + quoted(log));
}

// "x y z symbol", in bohr. std::stod takes what a stream does not: NaN.
Position positionIn(const std::string &text, const StructureAtom &atom, const std::string &log) {
    std::istringstream words(text);
    std::array<double, 3> values{};
    std::string word;
    for (double &value : values) {
        char *end = nullptr;
        if (words >> word) value = std::strtod(word.c_str(), &end) * angstromPerBohr;
        if (end == nullptr || *end != '\0') failReading("\"" + text + "\" is no atom", log);
        if (!std::isfinite(value)) failReading("a coordinate is no finite number", log);
    }
    if (!(words >> word) || inLowerCase(word) != inLowerCase(elementSymbol(atom.element))) {
        failReading("the atoms are others than were given", log);
    }
    return {values[0], values[1], values[2]};
}

std::vector<Position> positionsIn(const std::string &path, const std::vector<StructureAtom> &atoms,
                                  const std::string &log) {
    const auto lines = linesOf(path);
    auto text = std::find_if(lines.begin(), lines.end(),
                             [](const std::string &one) { return one.starts_with("$coord"); });
    if (text == lines.end()) failReading("there are no coordinates", log);
    ++text;
    std::vector<Position> positions;
    for (; text != lines.end() && !text->starts_with('$'); ++text) {
        if (positions.size() == atoms.size()) failReading("there are too many atoms", log);
        positions.push_back(positionIn(*text, atoms[positions.size()], log));
    }
    if (positions.size() < atoms.size()) failReading("atoms are missing", log);
    return positions;
}

// xtb holds the fixed atoms to each other, not in space.
void superposeFixed(std::vector<Position> &positions, const ConstrainedMolecule &molecule) {
    if (molecule.fixed.empty()) return;
    auto atoms = molecule.atoms;
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].position = positions[i];
    std::vector<int> sameFixed(atoms.size(), -1);
    for (const int atom : molecule.fixed)
        sameFixed[static_cast<std::size_t>(atom)] = atom;
    positions = laidOn(molecule.atoms, atoms, sameFixed);
}

void restoreFixed(std::vector<Position> &positions, const ConstrainedMolecule &molecule,
                  const std::string &log) {
    superposeFixed(positions, molecule);
    for (const int atom : molecule.fixed) {
        const auto index = static_cast<std::size_t>(atom);
        const auto &given = molecule.atoms[index].position;
        auto &got = positions[index];
        const double shift = distanceBetween(got, given);
        if (!(shift < mostGiving)) {
            failReading("the fixed atom " + atomLabel(molecule.atoms[index].element, atom) +
                            " has moved by " + formatted("%.3f", shift) + " angstrom",
                        log);
        }
        got = given;
    }
}

} // namespace

std::vector<Position> optimiseWithXtb(const ConstrainedMolecule &molecule,
                                      const XtbOptions &options) {
    const auto input = constraintFile("xtb", molecule);
    const std::set<int> fixed(molecule.fixed.begin(), molecule.fixed.end());
    if (fixed.size() == molecule.atoms.size()) { // xtb refuses to optimise nothing
        std::vector<Position> given;
        for (const auto &atom : molecule.atoms)
            given.push_back(atom.position);
        return given;
    }
    const TemporaryFolder folder(options.folder);
    writeInput(folder.file("molecule.coord"), input);
    const auto call = callFor(folder, "molecule.coord", options);
    runToSuccess(call, adviceOn(call));
    auto positions = positionsIn(folder.file("xtbopt.coord"), molecule.atoms, call.log);
    restoreFixed(positions, molecule, call.log);
    return positions;
}

} // namespace saddlefit::host
