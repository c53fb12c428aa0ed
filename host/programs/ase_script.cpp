#include "host/programs/program_inputs.hpp"
#include "host/system/text.hpp"

namespace saddlefit::host {

namespace {

// Springs, since ASE's own FixInternals moves fixed atoms, and gives up where there are more
// constraints than degrees of freedom.
constexpr const char *springClass = R"(
class Springs(FixConstraint):
    """Hold distances (angstrom), angles and dihedrals (degrees) near their targets."""

    STRETCH = 500.0  # eV per angstrom squared
    TURN = 50.0  # eV per radian squared

    def __init__(self, targets):
        self.targets = [(list(atoms), value) for atoms, value in targets]

    def misfit(self, positions, atoms, value):
        """Force constant, deviation and its gradient, in angstrom or radians."""
        steps = np.diff(positions[atoms], axis=0)
        if len(steps) == 1:
            slope = geometry.get_distances_derivatives(steps)[0]
            return self.STRETCH, np.linalg.norm(steps[0]) - value, slope
        if len(steps) == 2:
            sides = [-steps[:1], steps[1:]]
            now = geometry.get_angles(*sides)[0]
            slope = geometry.get_angles_derivatives(*sides)[0]
        else:
            sides = [steps[i:i + 1] for i in range(3)]
            now = geometry.get_dihedrals(*sides)[0]
            slope = geometry.get_dihedrals_derivatives(*sides)[0]
        turn = (now - value + 180.0) % 360.0 - 180.0
        return self.TURN, np.radians(turn), np.radians(slope)

    def adjust_potential_energy(self, atoms):
        misfits = [self.misfit(atoms.positions, *target) for target in self.targets]
        return sum(0.5 * k * off ** 2 for k, off, _ in misfits)

    def adjust_forces(self, atoms, forces):
        for target in self.targets:
            k, off, slope = self.misfit(atoms.positions, *target)
            forces[target[0]] -= k * off * slope

    def adjust_positions(self, atoms, new):
        pass

    def get_removed_dof(self, atoms):
        return 0

)";

std::string targets(const std::vector<Constraint> &constraints) {
    std::string text;
    for (const auto &constraint : constraints) {
        text += "    ((" + atomNumbers(atomsOf(constraint), 0, ", ") +
                formatted("), %.6f),\n", constraint.value);
    }
    return text;
}

} // namespace

std::string aseScript(const ConstrainedMolecule &molecule) {
    const auto spin = molecule.unpaired > 0
                          ? formatted(", scf={\"uhf\": None, \"nopen\": %d}", molecule.unpaired)
                          : std::string{};
    return "# " + molecule.title +
           "\n# run: python3 THIS_FILE\nfrom io import StringIO\n\nimport numpy as np\n"
           "from ase import geometry\nfrom ase.calculators.nwchem import NWChem\n"
           "from ase.constraints import FixAtoms, FixConstraint\n"
           "from ase.io import read, write\nfrom ase.optimize import BFGS\n\n" +
           springClass + "\natoms = read(StringIO(\"\"\"" + std::to_string(molecule.atoms.size()) +
           "\n" + molecule.title + "\n" + atomLines(molecule.atoms) +
           "\"\"\"), format=\"xyz\")\n"
           "springs = Springs([\n" +
           targets(molecule.constraints) + "])\nfixed = FixAtoms(indices=[" +
           atomNumbers(molecule.fixed, 0, ", ") +
           "])\natoms.set_constraint([springs, fixed])\n"
           "# replace the calculator here\n" +
           "atoms.calc = NWChem(label=\"" + molecule.stem +
           formatted("\", theory=\"scf\", basis=\"sto-3g\", charge=%d", molecule.charge) + spin +
           ")\nBFGS(atoms, trajectory=\"" + molecule.stem +
           ".traj\").run(fmax=0.05, steps=500)\nwrite(\"" + molecule.stem + ".xyz\", atoms)\n";
}

} // namespace saddlefit::host
