/// Inputs with which other programs go on to a saddle point.
#pragma once

#include "host/structures/structure.hpp"

#include <array>
#include <string>
#include <vector>

namespace saddlefit::host {

/// A geometry near a saddle point. Of what is not known the vectors are empty.
struct SaddleGuess {
    std::string title;
    int charge = 0;
    int unpaired = 0;                 ///< electrons
    std::vector<StructureAtom> atoms; ///< in angstrom
    std::vector<Position> reactant;   ///< angstrom, of the same atoms
    std::vector<Position> product;
    std::vector<double> hessian; ///< hartree per square bohr, row by row of 3 N coordinates
    std::string stem = "saddle"; ///< of the files' names
};

/// A file, and what stands behind the stem in its name.
struct InputText {
    std::string suffix;
    std::string text;
};

/// The programs that such inputs can be written for.
inline constexpr std::array saddlePrograms{"orca", "gaussian", "psi4", "nwchem", "ase"};

/// A search for the saddle point and its vibrations, with a cheap method in it that is to be
/// replaced; the Hessian with it where the program reads one (ORCA, Gaussian, NWChem); and where
/// both sides are known, ORCA's and Gaussian's way between them (NEB-TS, QST3). The first file is
/// the one to run.
/// Throws Error for another program, and for coordinates that are no numbers.
std::vector<InputText> saddleInputs(const std::string &program, const SaddleGuess &guess);

} // namespace saddlefit::host
