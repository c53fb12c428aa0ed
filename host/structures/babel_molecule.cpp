#include "host/structures/babel_molecule.hpp"

#include <algorithm>

namespace saddlefit::host {

babel::Molecule babelMolecule(const std::vector<StructureAtom> &atoms,
                              const std::vector<StructureBond> &bonds) {
    babel::Molecule molecule;
    for (const auto &[element, charge, at] : atoms) {
        auto &atom = molecule.atoms.emplace_back();
        atom.element = element;
        atom.charge = charge;
        atom.position = {at.x, at.y, at.z};
    }
    for (const auto &bond : bonds) {
        const bool aromatic = bond.type == aromaticType;
        molecule.bonds.push_back(
            {bond.atom1, bond.atom2, aromatic ? 1 : std::max(bond.type, 1), aromatic});
    }
    return molecule;
}

} // namespace saddlefit::host
