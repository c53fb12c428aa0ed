#include "host/programs/gradient_job.hpp"

#include "host/programs/gradient_text.hpp"
#include "host/programs/printed_text.hpp"
#include "host/programs/successful_run.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iterator>

namespace saddlefit::host {

namespace {

namespace fs = std::filesystem;

/// A command and its arguments. Programs run in a folder of their own, from which a path must lead
/// to the same place.
std::vector<std::string> commandIn(const std::string &text) {
    auto words = wordsIn(text);
    if (!words.empty() && words.front().find('/') != std::string::npos)
        words.front() = fs::absolute(words.front()).lexically_normal();
    return words;
}

std::vector<std::string> commandOf(const ProgramMethod &method) {
    const auto &program = *method.program;
    const char *other = *program.variable != '\0' ? std::getenv(program.variable) : nullptr;
    auto words = commandIn(*program.command == '\0'             ? method.method
                           : other != nullptr && *other != '\0' ? other
                                                                : program.command);
    for (const char *argument : program.arguments)
        if (argument != nullptr) words.emplace_back(argument);
    return words;
}

bool tellsOfAnError(const std::string &line) {
    const auto text = inLowerCase(line);
    constexpr std::array signs{"error",  "fatal",     "exception",
                               "failed", "not found", "unrecognized"};
    return std::any_of(signs.begin(), signs.end(),
                       [&text](const char *sign) { return text.find(sign) != std::string::npos; });
}

/// The lines near the end of a file, without frames of signs.
std::vector<std::string> endOf(const std::string &path) {
    constexpr std::ptrdiff_t most = 60;
    constexpr const char *frame = " \t*#-=";
    std::vector<std::string> lines;
    for (const auto &line : linesOf(path)) {
        const auto begin = line.find_first_not_of(frame);
        if (begin == std::string::npos) continue;
        lines.push_back(line.substr(begin, line.find_last_not_of(frame) + 1 - begin));
    }
    lines.erase(lines.begin(), lines.end() - std::min<std::ptrdiff_t>(most, std::ssize(lines)));
    return lines;
}

std::string joined(const std::vector<std::string> &lines) {
    std::string text;
    for (const auto &line : lines)
        text += (text.empty() ? "" : " / ") + line;
    return "; it said at the end: " + text;
}

/// What a program said of an error near the end, else the very end.
std::string lastWordsIn(const std::string &folder) {
    constexpr std::size_t most = 3;
    std::vector<std::string> last;
    for (const char *name : {"/log", "/molecule.log", "/molecule.out"}) {
        const auto lines = endOf(folder + name);
        std::vector<std::string> errors;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(errors), tellsOfAnError);
        if (errors.size() > most) errors.resize(most);
        if (!errors.empty()) return joined(errors);
        if (last.empty()) last = lines;
    }
    if (last.empty()) return "; it said nothing";
    if (last.size() > most) last.erase(last.begin(), last.end() - most);
    return joined(last);
}

ProgramCall callFor(const ProgramMethod &method, const std::string &folder, double timeLimit) {
    auto words = commandOf(method);
    ProgramCall call;
    call.program = words.front();
    call.arguments.assign(words.begin() + 1, words.end());
    call.folder = folder;
    call.log = folder + "/log";
    call.environment = {{"PSI_SCRATCH", folder}, {"GAUSS_SCRDIR", folder}};
    for (const char *variable : {"OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"})
        if (std::getenv(variable) == nullptr) call.environment[variable] = "1";
    call.timeLimit = timeLimit;
    return call;
}

bool isWhole(const EnergyAndGradient &result, std::size_t atoms) {
    return std::isfinite(result.energy) && result.gradient.size() == 3 * atoms &&
           std::all_of(result.gradient.begin(), result.gradient.end(),
                       [](double value) { return std::isfinite(value); });
}

std::string textOf(const std::string &path) {
    std::string text;
    for (const auto &line : linesOf(path))
        text += line + "\n";
    return text;
}

} // namespace

constexpr const char *fromDebian = "install it (Debian, Ubuntu: the package of that name)";

const std::array<GradientProgram, 6> gradientPrograms{{
    {"orca",
     "SADDLEFIT_ORCA",
     "orca",
     {"molecule.inp"},
     "molecule.inp",
     "molecule.engrad",
     "install it",
     orcaGradientInput,
     engradIn},
    {"gaussian",
     "SADDLEFIT_GAUSSIAN",
     "g16",
     {"molecule.gjf"},
     "molecule.gjf",
     "molecule.log",
     "install it, or name another release in SADDLEFIT_GAUSSIAN,",
     gaussianGradientInput,
     gaussianGradientIn},
    {"psi4",
     "SADDLEFIT_PSI4",
     "psi4",
     {"-i", "molecule.in", "-o", "molecule.out"},
     "molecule.in",
     "molecule.engrad",
     fromDebian,
     psi4GradientInput,
     engradIn},
    {"nwchem",
     "SADDLEFIT_NWCHEM",
     "nwchem",
     {"molecule.nw"},
     "molecule.nw",
     "log",
     fromDebian,
     nwchemGradientInput,
     nwchemGradientIn},
    {"mopac",
     "SADDLEFIT_MOPAC",
     "mopac",
     {"molecule.mop"},
     "molecule.mop",
     "molecule.aux",
     fromDebian,
     mopacGradientInput,
     mopacGradientIn},
    {"command",
     "",
     "",
     {},
     "molecule.xyz",
     "molecule.engrad",
     "correct the command",
     xyzWithElectrons,
     engradIn},
}};

ProgramMethod programMethodNamed(const std::string &name) {
    const auto colon = std::min(name.find(':'), name.size());
    const auto found =
        std::find_if(gradientPrograms.begin(), gradientPrograms.end(),
                     [&](const auto &program) { return name.substr(0, colon) == program.name; });
    const auto method = name.substr(std::min(colon + 1, name.size()));
    const bool isPlain = std::none_of(method.begin(), method.end(), [](unsigned char letter) {
        return std::iscntrl(letter) != 0 || letter == '\'' || letter == '"' || letter == '\\';
    });
    const bool isEmpty = method.find_first_not_of(' ') == std::string::npos;
    if (found != gradientPrograms.end() && isPlain && !isEmpty) {
        found->write({method, 0, 0, {{1, 0, {}}, {1, 0, {0, 0, 0.7}}}, false}); // it may refuse
        return {&*found, method};
    }
    throw Error("\"" + name +
                "\" is no method for saddle points; give gfn2, gfn1, gfnff, or a "
                "program and its method as in psi4:hf/sto-3g; the programs are orca, gaussian, "
                "psi4, nwchem, mopac and command");
}

void requireProgram(const ProgramMethod &method) {
    const auto command = commandOf(method).front();
    if (canBeFound(command)) return;
    throw Error(ErrorKind::noProgram, "the program " + command + " is not there; " +
                                          method.program->install +
                                          " and see that PATH leads to it");
}

EnergyAndGradient computeGradient(const ProgramMethod &method, const GradientJob &job,
                                  const std::string &folder, double timeLimit) {
    const auto &program = *method.program;
    const auto output = folder + "/" + program.output;
    std::error_code none;
    fs::remove(output, none); // an old result is no answer
    writeInput(folder + "/" + program.input, program.write(job));
    const auto call = callFor(method, folder, timeLimit);
    const auto lastWords = [&folder] { return lastWordsIn(folder); };
    const std::string name = *program.command == '\0' ? call.program : program.name;
    runToSuccess(call, {name, program.install,
                        "allow more time by --gradient-time, or take a "
                        "cheaper method",
                        "check method, charge and unpaired electrons", lastWords});
    auto result = program.read(textOf(output));
    if (isWhole(result, job.atoms.size())) return result;
    throw Error(ErrorKind::program, name + " gave no energy with a gradient of each atom in " +
                                        program.output + lastWords());
}

} // namespace saddlefit::host
