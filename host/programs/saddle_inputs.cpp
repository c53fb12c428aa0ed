#include "host/programs/saddle_inputs.hpp"

#include "host/programs/program_inputs.hpp"
#include "host/structures/element_data.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/units.hpp"
#include "host/structures/xyz.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

std::string chargeAndMultiplicity(const SaddleGuess &guess) {
    return std::to_string(guess.charge) + " " + std::to_string(guess.unpaired + 1);
}

bool hasHessian(const SaddleGuess &guess) {
    return guess.hessian.size() == 9 * guess.atoms.size() * guess.atoms.size();
}

bool hasSides(const SaddleGuess &guess) {
    const auto count = guess.atoms.size();
    return guess.reactant.size() == count && guess.product.size() == count;
}

std::vector<StructureAtom> placedAt(const SaddleGuess &guess,
                                    const std::vector<Position> &positions) {
    auto atoms = guess.atoms;
    for (std::size_t i = 0; i < atoms.size(); ++i)
        atoms[i].position = positions[i];
    return atoms;
}

/// Element by row and column, from 0.
double element(const SaddleGuess &guess, std::size_t row, std::size_t column) {
    return guess.hessian[row * 3 * guess.atoms.size() + column];
}

/// The lower triangle, row by row.
std::vector<double> lowerTriangle(const SaddleGuess &guess) {
    std::vector<double> values;
    for (std::size_t row = 0; row < 3 * guess.atoms.size(); ++row)
        for (std::size_t column = 0; column <= row; ++column)
            values.push_back(element(guess, row, column));
    return values;
}

void requireSound(const SaddleGuess &guess) {
    const auto isSound = [](const Position &at) {
        return std::isfinite(at.x) && std::isfinite(at.y) && std::isfinite(at.z);
    };
    const bool isWhole = std::all_of(guess.atoms.begin(), guess.atoms.end(),
                                     [&](const auto &atom) { return isSound(atom.position); }) &&
                         std::all_of(guess.hessian.begin(), guess.hessian.end(),
                                     [](double value) { return std::isfinite(value); });
    if (isWhole) return;
    throw Error(guess.title + ": a coordinate or force constant is no finite number; check the "
                              "start geometry");
}

// ---- ORCA ---------------------------------------------------------------------------------------

/// As ORCA's own: five columns at a time, coordinates counted from 0, positions in bohr.
std::string orcaHessian(const SaddleGuess &guess) {
    constexpr std::size_t columnsAtOnce = 5;
    const std::size_t size = 3 * guess.atoms.size();
    std::string text = formatted("$orca_hessian_file\n\n$hessian\n%zu\n", size);
    for (std::size_t first = 0; first < size; first += columnsAtOnce) {
        const std::size_t end = std::min(first + columnsAtOnce, size);
        text += "      ";
        for (std::size_t column = first; column < end; ++column)
            text += formatted(" %18zu", column);
        text += "\n";
        for (std::size_t row = 0; row < size; ++row) {
            text += formatted("%5zu ", row);
            for (std::size_t column = first; column < end; ++column)
                text += formatted(" %18.10E", element(guess, row, column));
            text += "\n";
        }
    }
    text += formatted("\n$atoms\n%zu\n", guess.atoms.size());
    for (const auto &[number, charge, at] : guess.atoms)
        text += formatted(" %-2s %10.5f %18.12f %18.12f %18.12f\n", elementSymbol(number).c_str(),
                          atomicWeight(number), at.x / angstromPerBohr, at.y / angstromPerBohr,
                          at.z / angstromPerBohr);
    return text + "\n$end\n";
}

std::string orcaGeometry(const SaddleGuess &guess, const std::vector<StructureAtom> &atoms) {
    return "* xyz " + chargeAndMultiplicity(guess) + "\n" + atomLines(atoms) + "*\n";
}

std::vector<InputText> orcaInputs(const SaddleGuess &guess) {
    const auto head = "# " + guess.title + "\n# replace the method in the next line\n";
    const auto hessian = hasHessian(guess)
                             ? "  InHess Read\n  InHessName \"" + guess.stem + ".hess\"\n"
                             : std::string("  Calc_Hess true\n  NumHess true\n");
    std::vector<InputText> files{{".ts.orca.inp", head + "! HF-3c OptTS NumFreq\n%geom\n" +
                                                      hessian + "end\n" +
                                                      orcaGeometry(guess, guess.atoms)}};
    if (hasHessian(guess)) files.push_back({".hess", orcaHessian(guess)});
    if (!hasSides(guess)) return files;
    const auto product = guess.stem + ".product.xyz", ts = guess.stem + ".ts.xyz";
    files.push_back({".neb.orca.inp", head + "! HF-3c NEB-TS NumFreq\n%neb\n  NEB_End_XYZFile \"" +
                                          product + "\"\n  NEB_TS_XYZFile \"" + ts + "\"\nend\n" +
                                          orcaGeometry(guess, placedAt(guess, guess.reactant))});
    files.push_back({".product.xyz", xyzRecord(guess.title, placedAt(guess, guess.product))});
    files.push_back({".ts.xyz", xyzRecord(guess.title, guess.atoms)});
    return files;
}

// ---- Gaussian -----------------------------------------------------------------------------------

/// What the option FCCards reads: an energy that is not used, forces, and force constants.
std::string gaussianCards(const SaddleGuess &guess) {
    std::string text = formatted("%24.16E\n", 0.0);
    const auto inSixes = [&text](const std::vector<double> &values) {
        constexpr std::size_t perLine = 6;
        for (std::size_t i = 0; i < values.size(); ++i)
            text += formatted("%12.8f%s", values[i],
                              (i + 1) % perLine == 0 || i + 1 == values.size() ? "\n" : "");
    };
    inSixes(std::vector<double>(3 * guess.atoms.size(), 0.0));
    inSixes(lowerTriangle(guess));
    return text;
}

std::string gaussianGeometry(const SaddleGuess &guess, const std::string &title,
                             const std::vector<StructureAtom> &atoms) {
    return title + "\n\n" + chargeAndMultiplicity(guess) + "\n" + atomLines(atoms) + "\n";
}

std::vector<InputText> gaussianInputs(const SaddleGuess &guess) {
    const std::string head = "! replace the method in the next line\n#P HF/3-21G ";
    const char *begin = hasHessian(guess) ? "FCCards" : "CalcFC";
    const auto cards = hasHessian(guess) ? gaussianCards(guess) + "\n" : std::string{};
    std::vector<InputText> files{
        {".ts.gjf", head + "Opt=(TS," + begin + ",NoEigenTest) Freq NoSymm\n\n" +
                        gaussianGeometry(guess, guess.title, guess.atoms) + cards}};
    if (!hasSides(guess)) return files;
    files.push_back(
        {".qst3.gjf",
         head + "Opt=(QST3,CalcFC,NoEigenTest) Freq NoSymm\n\n" +
             gaussianGeometry(guess, guess.title + " reactant", placedAt(guess, guess.reactant)) +
             gaussianGeometry(guess, guess.title + " product", placedAt(guess, guess.product)) +
             gaussianGeometry(guess, guess.title + " guess", guess.atoms)});
    return files;
}

// ---- psi4, NWChem, ASE --------------------------------------------------------------------------

std::vector<InputText> psi4Inputs(const SaddleGuess &guess) {
    return {{".ts.psi4.dat", "# " + guess.title + "\nmolecule {\n" + chargeAndMultiplicity(guess) +
                                 "\n" + atomLines(guess.atoms) +
                                 "units angstrom\nno_com\nno_reorient\nsymmetry c1\n}\n"
                                 "# replace the basis here and the method in both last lines\n"
                                 "set {\n  basis sto-3g\n  reference " +
                                 (guess.unpaired > 0 ? "uhf" : "rhf") +
                                 "\n  opt_type ts\n  full_hess_every 0\n  geom_maxiter 100\n}\n"
                                 "optimize('scf')\nfrequencies('scf')\n"}};
}

std::vector<InputText> nwchemInputs(const SaddleGuess &guess) {
    std::string text = "start " + guess.stem + "\ntitle \"" + guess.title + "\"\n" +
                       formatted("charge %d\n", guess.charge) +
                       "geometry units angstroms noautosym nocenter noautoz\n" +
                       atomLines(guess.atoms) + "end\n" +
                       "# replace the basis here and the method in the last lines\n"
                       "basis\n  * library sto-3g\nend\n";
    if (guess.unpaired > 0) text += formatted("scf\n  uhf\n  nopen %d\nend\n", guess.unpaired);
    text += std::string("driver\n  maxiter 100\n") + (hasHessian(guess) ? "  inhess 2\n" : "") +
            "  xyz " + guess.stem + "\nend\n";
    if (!hasHessian(guess)) text += "task scf freq\ndriver\n  inhess 2\nend\n";
    std::vector<InputText> files{{".ts.nw", text + "task scf saddle\ntask scf freq\n"}};
    if (!hasHessian(guess)) return files;
    std::string triangle;
    for (const double value : lowerTriangle(guess))
        triangle += formatted("%20.10E\n", value);
    files.push_back({".hess", triangle});
    return files;
}

std::vector<InputText> aseInputs(const SaddleGuess &guess) {
    const auto spin = guess.unpaired > 0
                          ? formatted(", scf={\"uhf\": None, \"nopen\": %d}", guess.unpaired)
                          : std::string{};
    return {{".ts.ase.py",
             "# " + guess.title +
                 "\n# run: python3 THIS_FILE\nfrom io import StringIO\n\n"
                 "from ase.calculators.nwchem import NWChem\nfrom ase.io import read, write\n"
                 "from ase.vibrations import Vibrations\n\n"
                 "try:\n    from ase.mep import DimerControl, MinModeAtoms, MinModeTranslate\n"
                 "except ImportError:\n"
                 "    from ase.dimer import DimerControl, MinModeAtoms, MinModeTranslate\n\n"
                 "atoms = read(StringIO(\"\"\"" +
                 std::to_string(guess.atoms.size()) + "\n" + guess.title + "\n" +
                 atomLines(guess.atoms) +
                 "\"\"\"), format=\"xyz\")\n# replace the calculator here\n"
                 "atoms.calc = NWChem(label=\"" +
                 guess.stem +
                 formatted("\", theory=\"scf\", basis=\"sto-3g\", charge=%d", guess.charge) + spin +
                 ")\ncontrol = DimerControl(initial_eigenmode_method=\"gauss\", logfile=None)\n"
                 "dimer = MinModeAtoms(atoms, control, random_seed=1)\n"
                 "MinModeTranslate(dimer).run(fmax=0.03, steps=500)\nwrite(\"" +
                 guess.stem + ".xyz\", atoms)\nvibrations = Vibrations(atoms, name=\"" +
                 guess.stem + ".vib\")\nvibrations.run()\nvibrations.summary()\n"}};
}

} // namespace

std::vector<InputText> saddleInputs(const std::string &program, const SaddleGuess &guess) {
    requireSound(guess);
    SaddleGuess ready = guess;
    ready.title = harmless(guess.title);
    if (program == "orca") return orcaInputs(ready);
    if (program == "gaussian") return gaussianInputs(ready);
    if (program == "psi4") return psi4Inputs(ready);
    if (program == "nwchem") return nwchemInputs(ready);
    if (program == "ase") return aseInputs(ready);
    throw Error("a search for a saddle point by \"" + program +
                "\" cannot be written; choose one of orca, gaussian, psi4, nwchem, ase");
}

} // namespace saddlefit::host
