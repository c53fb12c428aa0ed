/// The writers, one for each program. They take a molecule as constraintFile() prepares it: a plain
/// title, fixed atoms ascending, no constraint that holds nothing.
#pragma once

#include "host/programs/constraint_files.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// Two atoms, three or four.
inline std::vector<int> atomsOf(const Constraint &constraint) {
    const auto &[a, b, c, d, value, parameter, level] = constraint;
    if (c < 0) return {a, b};
    if (d < 0) return {a, b, c};
    return {a, b, c, d};
}

/// "1 2 3", with the number of the first atom that the program has.
std::string atomNumbers(const std::vector<int> &atoms, int first, const char *separator = " ");

/// A line per atom: symbol, x, y, z in angstrom.
std::string atomLines(const std::vector<StructureAtom> &atoms);

// The title in letters that mean nothing to any of the programs, not even in a comment.
std::string harmless(const std::string &title);

std::string xtbInput(const ConstrainedMolecule &molecule);
std::string orcaInput(const ConstrainedMolecule &molecule);
std::string gaussianInput(const ConstrainedMolecule &molecule);
std::string psi4Input(const ConstrainedMolecule &molecule);
std::string nwchemInput(const ConstrainedMolecule &molecule);
std::string aseScript(const ConstrainedMolecule &molecule);

} // namespace saddlefit::host
