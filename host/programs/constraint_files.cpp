#include "host/programs/constraint_files.hpp"

#include "host/programs/program_inputs.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <cmath>
#include <set>
#include <string_view>

namespace saddlefit::host {

namespace {

std::string nameIn(const ConstrainedMolecule &molecule) {
    return molecule.title.empty() ? "a molecule without title" : molecule.title;
}

[[noreturn]] void failFor(const ConstrainedMolecule &molecule, const std::string &what) {
    throw Error(nameIn(molecule) + ": " + what);
}

void requireAtom(const ConstrainedMolecule &molecule, int atom) {
    const auto count = static_cast<int>(molecule.atoms.size());
    if (atom >= 0 && atom < count) return;
    failFor(molecule, "atom " + std::to_string(atom + 1) + " is to be held, but there are " +
                          std::to_string(count) + " atoms; check the constraints");
}

void requireSound(const ConstrainedMolecule &molecule) {
    for (const auto &[element, charge, at] : molecule.atoms) {
        if (std::isfinite(at.x) && std::isfinite(at.y) && std::isfinite(at.z)) continue;
        failFor(molecule, "a coordinate is no finite number; check the start geometry");
    }
    for (const int atom : molecule.fixed)
        requireAtom(molecule, atom);
    for (const auto &constraint : molecule.constraints) {
        for (const int atom : atomsOf(constraint))
            requireAtom(molecule, atom);
        if (!std::isfinite(constraint.value)) {
            failFor(molecule, "a constraint's value is no finite number; check the constraints");
        }
    }
}

// a-b-c and c-b-a are the same angle.
std::vector<int> inOneDirection(std::vector<int> atoms) {
    if (atoms.front() > atoms.back()) std::reverse(atoms.begin(), atoms.end());
    return atoms;
}

std::vector<Constraint> thoseThatHold(const ConstrainedMolecule &molecule) {
    const std::set<int> fixed(molecule.fixed.begin(), molecule.fixed.end());
    std::set<std::vector<int>> seen;
    std::vector<Constraint> kept;
    for (const auto &constraint : molecule.constraints) {
        const auto atoms = atomsOf(constraint);
        const bool isFixed =
            std::all_of(atoms.begin(), atoms.end(), [&](int atom) { return fixed.contains(atom); });
        if (!isFixed && seen.insert(inOneDirection(atoms)).second) kept.push_back(constraint);
    }
    return kept;
}

} // namespace

const std::array<ConstraintFormat, 6> constraintFormats{{
    {"xtb", ".xtb.coord", xtbInput},
    {"orca", ".orca.inp", orcaInput},
    {"gaussian", ".gjf", gaussianInput},
    {"psi4", ".psi4.dat", psi4Input},
    {"nwchem", ".nw", nwchemInput},
    {"ase", ".ase.py", aseScript},
}};

const ConstraintFormat &constraintFormat(const std::string &program) {
    std::string known;
    for (const auto &format : constraintFormats) {
        if (program == format.program) return format;
        known += (known.empty() ? "" : ", ") + std::string(format.program);
    }
    throw Error("constraints for \"" + program + "\" cannot be written; choose one of " + known);
}

std::string harmless(const std::string &title) {
    constexpr std::string_view harmlessSigns = " .,:+-=()/_";
    std::string text = title;
    for (char &letter : text) {
        const bool isPlain = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                             (letter >= '0' && letter <= '9') ||
                             harmlessSigns.find(letter) != std::string_view::npos;
        if (!isPlain) letter = '_';
    }
    const bool isBlank = text.find_first_not_of(' ') == std::string::npos;
    return isBlank ? "molecule" : text;
}

std::string constraintFile(const std::string &program, const ConstrainedMolecule &molecule) {
    const auto &format = constraintFormat(program);
    requireSound(molecule);
    ConstrainedMolecule ready = molecule;
    ready.title = harmless(molecule.title);
    ready.constraints = thoseThatHold(molecule);
    const std::set<int> fixed(molecule.fixed.begin(), molecule.fixed.end());
    ready.fixed.assign(fixed.begin(), fixed.end());
    return format.write(ready);
}

} // namespace saddlefit::host
