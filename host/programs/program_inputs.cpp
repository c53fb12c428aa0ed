#include "host/programs/program_inputs.hpp"

#include "host/programs/targets.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/units.hpp"
#include "host/system/text.hpp"

namespace saddlefit::host {

namespace {

using Atoms = std::vector<int>;

// What a program calls the three kinds of constraint.
struct Words {
    const char *distance, *angle, *dihedral;
};

const char *wordFor(const Constraint &constraint, const Words &words) {
    if (constraint.c < 0) return words.distance;
    return constraint.d < 0 ? words.angle : words.dihedral;
}

std::string number(double value) {
    return formatted("%.6f", value);
}

std::string chargeAndMultiplicity(const ConstrainedMolecule &molecule) {
    return std::to_string(molecule.charge) + " " + std::to_string(molecule.unpaired + 1);
}

} // namespace

std::string atomNumbers(const Atoms &atoms, int first, const char *separator) {
    std::string text;
    for (const int atom : atoms)
        text += (text.empty() ? "" : separator) + std::to_string(atom + first);
    return text;
}

std::string atomLines(const std::vector<StructureAtom> &atoms) {
    std::string text;
    for (const auto &[element, charge, at] : atoms)
        text += formatted("%-2s %16.8f %16.8f %16.8f\n", elementSymbol(element).c_str(), at.x, at.y,
                          at.z);
    return text;
}

// ---- xtb ----------------------------------------------------------------------------------------

namespace {

// Hartree per bohr squared. A bond that GFN2-xTB would tear at with 0.1 hartree per bohr is held
// within 0.005 angstrom. Ten times as much, and the optimiser no longer converges.
constexpr double xtbForceConstant = 5.0;

} // namespace

// The coordinates stand in the same file: xtb reads it as structure and as instructions.
//
// Fixed atoms are held to each other by springs. $fix would hold them in space, but xtb 6.5 takes
// three motions away with them: seen from where it stops, all-atom springs lead some 3 (two atoms
// of nine fixed) to 36 millihartree (six of seven) further down.
std::string xtbInput(const ConstrainedMolecule &molecule) {
    std::string text = "# " + molecule.title + "\n" +
                       "# run: xtb THIS_FILE --input THIS_FILE --opt --gfn 2 --namespace " +
                       molecule.stem +
                       "\n# the method is chosen in that line; distances in angstrom\n"
                       "$coord angs\n";
    for (const auto &[element, charge, at] : molecule.atoms)
        text += formatted("%16.8f %16.8f %16.8f %s\n", at.x, at.y, at.z,
                          elementSymbol(element).c_str());
    text += formatted("$chrg %d\n$spin %d\n", molecule.charge, molecule.unpaired);
    if (!molecule.constraints.empty() || !molecule.fixed.empty()) {
        text += formatted("$constrain\n  force constant=%.1f\n", xtbForceConstant);
    }
    for (const auto &constraint : molecule.constraints) {
        text += std::string("  ") + wordFor(constraint, {"distance", "angle", "dihedral"}) + ": " +
                atomNumbers(atomsOf(constraint), 1, ", ") + ", " + number(constraint.value) + "\n";
    }
    if (!molecule.fixed.empty()) {
        text += "  # $fix would hold these exactly, but may leave the softest motions unrelaxed\n";
        text += "  atoms: " + atomNumbers(molecule.fixed, 1, ",") + "\n";
    }
    return text + "$end\n";
}

// ---- ORCA ---------------------------------------------------------------------------------------

std::string orcaInput(const ConstrainedMolecule &molecule) {
    std::string text = "# " + molecule.title + "\n" +
                       "# replace the method in the next line\n"
                       "! HF-3c Opt\n";
    if (!molecule.constraints.empty() || !molecule.fixed.empty()) text += "%geom\n  Constraints\n";
    for (const auto &constraint : molecule.constraints) {
        text += formatted("    { %s %s %s C }\n", wordFor(constraint, {"B", "A", "D"}),
                          atomNumbers(atomsOf(constraint), 0).c_str(),
                          number(constraint.value).c_str());
    }
    for (const int atom : molecule.fixed)
        text += formatted("    { C %d C }\n", atom);
    if (!molecule.constraints.empty() || !molecule.fixed.empty()) text += "  end\nend\n";
    return text + "* xyz " + chargeAndMultiplicity(molecule) + "\n" + atomLines(molecule.atoms) +
           "*\n";
}

// ---- Gaussian -----------------------------------------------------------------------------------

// A coordinate is given its value by one line, and frozen by the next.
std::string gaussianInput(const ConstrainedMolecule &molecule) {
    std::string text = "! replace the method in the next line\n"
                       "#P HF/3-21G Opt=ModRedundant NoSymm\n\n" +
                       molecule.title + "\n\n" + chargeAndMultiplicity(molecule) + "\n" +
                       atomLines(molecule.atoms) + "\n";
    for (const auto &constraint : molecule.constraints) {
        const auto coordinate = std::string(wordFor(constraint, {"B", "A", "D"})) + " " +
                                atomNumbers(atomsOf(constraint), 1);
        text += coordinate + " =" + number(constraint.value) + " B\n" + coordinate + " F\n";
    }
    for (const int atom : molecule.fixed)
        text += formatted("X %d F\n", atom + 1);
    return text + "\n";
}

// ---- psi4 ---------------------------------------------------------------------------------------

namespace {

std::string psi4List(const ConstrainedMolecule &molecule, const char *keyword,
                     std::size_t atomCount) {
    std::string rows;
    for (const auto &constraint : molecule.constraints) {
        const auto atoms = atomsOf(constraint);
        if (atoms.size() == atomCount) rows += "    " + atomNumbers(atoms, 1) + "\n";
    }
    return rows.empty() ? rows : std::string("  ") + keyword + " = (\"\n" + rows + "  \")\n";
}

} // namespace

// The atoms are brought to the targets and frozen there: any release of psi4 can do that, whereas
// the keywords for targets of their own were renamed, and the optimiser behind the older ones
// (fixed_distance, psi4 1.3) goes to and fro around the targets until it gives up. Among frozen
// internal coordinates that one may lose its way; cartesian ones serve both.
std::string psi4Input(const ConstrainedMolecule &molecule) {
    const auto atoms = atomsOnTarget(molecule);
    const bool onTarget = areOnTarget(atoms, molecule.constraints);
    std::string text = "# " + molecule.title + "\n# the atoms stand where " +
                       (onTarget ? "the constraints are met as they are to stay"
                                 : "they were given, off their targets: bring them there first") +
                       "\nmolecule {\n" + chargeAndMultiplicity(molecule) + "\n" +
                       atomLines(atoms) + "units angstrom\nno_com\nno_reorient\nsymmetry c1\n}\n";
    std::string held = psi4List(molecule, "frozen_distance", 2) +
                       psi4List(molecule, "frozen_bend", 3) +
                       psi4List(molecule, "frozen_dihedral", 4);
    if (!molecule.fixed.empty()) {
        text += "fixed_atoms = \"\"\"\n";
        for (const int atom : molecule.fixed)
            text += formatted("  %d xyz\n", atom + 1);
        text += "\"\"\"\n";
        held += "  frozen_cartesian $fixed_atoms\n";
    }
    if (!held.empty()) text += "set optking {\n  opt_coordinates cartesian\n" + held + "}\n";
    return text + "# replace the basis here and the method at the end\nset {\n  basis sto-3g\n" +
           "  reference " + (molecule.unpaired > 0 ? "uhf" : "rhf") +
           "\n  g_convergence gau_loose\n  geom_maxiter 100\n}\noptimize('scf')\n";
}

// ---- NWChem -------------------------------------------------------------------------------------

namespace {

// Hartree per bohr squared, and per radian squared.
constexpr double nwchemStretch = 5.0;
constexpr double nwchemTwist = 1.0;

// Internal coordinates are held exactly, but not beside fixed atoms, and no more of them than there
// are degrees of freedom.
bool holdsExactly(const ConstrainedMolecule &molecule) {
    return molecule.fixed.empty() && molecule.constraints.size() + 6 <= 3 * molecule.atoms.size();
}

std::string heldCoordinates(const ConstrainedMolecule &molecule) {
    std::string text = "  zcoord\n";
    for (int count = 0; const auto &constraint : molecule.constraints) {
        text += formatted(
            "    %s %s %s held%d constant\n", wordFor(constraint, {"bond", "angle", "torsion"}),
            atomNumbers(atomsOf(constraint), 1).c_str(), number(constraint.value).c_str(), ++count);
    }
    return text + "  end\n";
}

std::string nwchemSpring(const std::vector<StructureAtom> &onTarget, const Constraint &constraint) {
    const auto &[a, b, c, d, value, parameter, level] = constraint;
    if (d >= 0 && c >= 0) {
        return formatted("  spring dihedral %s %.1f %.4f\n", atomNumbers({a, b, c, d}, 1).c_str(),
                         nwchemTwist, value);
    }
    const int last = c < 0 ? b : c;
    const double length = c < 0 ? value : valueOf({a, last, -1, -1, 0.0, 0.0, 0}, onTarget);
    return formatted("  spring bond %d %d %.1f %.6f\n", a + 1, last + 1, nwchemStretch,
                     length / angstromPerBohr);
}

std::string springs(const ConstrainedMolecule &molecule) {
    std::string text = "# springs: lengths in bohr; an angle is held by the distance across it\n"
                       "constraints\n";
    const auto onTarget = atomsOnTarget(molecule);
    for (const auto &constraint : molecule.constraints)
        text += nwchemSpring(onTarget, constraint);
    if (!molecule.fixed.empty()) text += "  fix atom " + atomNumbers(molecule.fixed, 1) + "\n";
    return text + "end\n";
}

} // namespace

std::string nwchemInput(const ConstrainedMolecule &molecule) {
    const bool exact = holdsExactly(molecule);
    std::string text = "start " + molecule.stem + "\ntitle \"" + molecule.title + "\"\n" +
                       formatted("charge %d\n", molecule.charge) +
                       "geometry units angstroms noautosym nocenter" + (exact ? "" : " noautoz") +
                       "\n" + atomLines(molecule.atoms);
    if (exact && !molecule.constraints.empty()) text += heldCoordinates(molecule);
    text += "end\n";
    if (!exact) text += springs(molecule);
    text += "# replace the basis here and the method at the end\nbasis\n  * library sto-3g\nend\n";
    if (molecule.unpaired > 0)
        text += formatted("scf\n  uhf\n  nopen %d\nend\n", molecule.unpaired);
    return text + "driver\n  maxiter 200\n  xyz " + molecule.stem + "\nend\ntask scf optimize\n";
}

} // namespace saddlefit::host
