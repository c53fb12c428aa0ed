/// Energies and gradients that other programs compute.
#pragma once

#include "host/structures/structure.hpp"

#include <array>
#include <string>
#include <vector>

namespace saddlefit::host {

struct GradientJob {
    std::string method; ///< in the program's own words: "hf/sto-3g"
    int charge = 0;
    int unpaired = 0;                 ///< electrons
    std::vector<StructureAtom> atoms; ///< angstrom
    bool goesOn = false; ///< begin with the wave function of the run before in the same folder
};

struct EnergyAndGradient {
    double energy = 0.0;          ///< hartree
    std::vector<double> gradient; ///< hartree per bohr; x, y, z by atom
};

/// A program, what it reads, and what it leaves.
struct GradientProgram {
    const char *name;     ///< as it is asked for: "psi4"
    const char *variable; ///< of the environment, with another command to start it by
    const char *command;  ///< to start it by otherwise
    std::array<const char *, 4> arguments; ///< behind the command, up to the first null
    const char *input;                     ///< names of files
    const char *output;
    const char *install; ///< how to get it
    std::string (*write)(const GradientJob &);
    EnergyAndGradient (*read)(const std::string &text);
};

/// The programs: orca, gaussian, psi4, nwchem, mopac; and "command", which runs any command with
/// two files: it reads `molecule.xyz`, whose title has "charge=Q uhf=N", and writes
/// `molecule.engrad`: the number of atoms, the energy in hartree and the gradient in hartree per
/// bohr, x, y, z by atom, parted by white space; lines that begin with # say nothing, and what is
/// behind the gradient is passed over. (ORCA writes such files.)
extern const std::array<GradientProgram, 6> gradientPrograms;

/// A method of a program: "psi4:hf/sto-3g", "command:./gradient.py --fast".
struct ProgramMethod {
    const GradientProgram *program = nullptr;
    std::string method; ///< of "command": the command
};

/// Throws Error for a text that is no such method.
ProgramMethod programMethodNamed(const std::string &name);

/// Throws Error (ErrorKind::noProgram) where the program is not found.
void requireProgram(const ProgramMethod &method);

/// Run the program in a folder.
/// @param timeLimit seconds
/// Throws Error where the program is not there, fails, takes too long or gives no gradient of the
/// atoms, with the last words of what it said.
EnergyAndGradient computeGradient(const ProgramMethod &method, const GradientJob &job,
                                  const std::string &folder, double timeLimit);

} // namespace saddlefit::host
