/// Inputs with which other programs optimise a molecule under constraints.
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <array>
#include <string>
#include <vector>

namespace saddlefit::host {

/// A molecule that a program is to optimise under constraints. Atoms count from 0 here; writers use
/// each program's own base.
struct ConstrainedMolecule {
    std::string title;
    int charge = 0;
    int unpaired = 0;                    ///< electrons
    std::vector<StructureAtom> atoms;    ///< in angstrom
    std::vector<Constraint> constraints; ///< distances in angstrom, angles and dihedrals in degrees
    std::vector<int> fixed;              ///< atoms that are not to move
    std::string stem = "optimised";      ///< of the names of files that the program writes
};

struct ConstraintFormat {
    const char *program; ///< as it is asked for
    const char *suffix;  ///< of the file's name
    std::string (*write)(const ConstrainedMolecule &);
};

extern const std::array<ConstraintFormat, 6> constraintFormats;

/// Throws Error for a program that is not among them.
const ConstraintFormat &constraintFormat(const std::string &program);

/// The input: complete, with a cheap method in it that is to be replaced.
///
/// What can hold nothing is left out: constraints between fixed atoms, and all but the first of
/// several for the same atoms. Throws Error if an atom is named that the molecule has not, or a
/// number is not finite.
std::string constraintFile(const std::string &program, const ConstrainedMolecule &molecule);

} // namespace saddlefit::host
