#include "host/structures/host_molecule.hpp"

#include "saddlefit/reaction.h"

#include "host/structures/elements.hpp"
#include "host/system/error.hpp"

#include <cstdlib>

namespace saddlefit::host {

HostMolecule hostMolecule(const std::vector<StructureAtom> &atoms,
                          const std::vector<StructureBond> &bonds,
                          const std::vector<Transition> &transitions) {
    HostMolecule mol(C_createMolecule(static_cast<int>(atoms.size()),
                                      static_cast<int>(bonds.size()), 0,
                                      static_cast<int>(transitions.size())));
    if (!mol) throw Error(ErrorKind::system, "not enough memory; close other programs");
    for (int i = 0; const auto &atom : atoms) {
        const auto &at = atom.position;
        C_setAtom(mol.get(), i, atom.element, 0, atomLabel(atom.element, i).c_str(), at.x, at.y,
                  at.z);
        ++i;
    }
    for (int i = 0; const auto &bond : bonds) {
        C_setBond(mol.get(), i++, bond.atom1, bond.atom2, bond.type);
    }
    for (int i = 0; const auto &step : transitions) {
        C_setTransition(mol.get(), i++, step.breakA, step.breakB, step.formA, step.formB);
    }
    return mol;
}

std::string nameOf(Molecule *mol) {
    const char *name = nullptr;
    C_getName(mol, &name);
    return name == nullptr ? "" : name;
}

std::vector<Constraint> constraintsOf(Molecule *mol) {
    std::vector<Constraint> constraints;
    Constraint one{};
    for (int i = 0;
         C_getConstraint(mol, i, &one.a, &one.b, &one.c, &one.d, &one.value, &one.parameter) == 1;
         ++i) {
        constraints.push_back(one);
    }
    return constraints;
}

std::vector<StructureBond> bondsOf(Molecule *mol) {
    std::vector<StructureBond> bonds;
    StructureBond bond;
    for (int i = 0; C_getBond(mol, i, &bond.atom1, &bond.atom2, &bond.type) == 1; ++i) {
        bonds.push_back(bond);
    }
    return bonds;
}

std::vector<Position> positionsOf(Molecule *mol) {
    std::vector<Position> positions;
    for (const auto &atom : std::span(mol->atoms, static_cast<std::size_t>(mol->atomCount)))
        positions.push_back({atom.x, atom.y, atom.z});
    return positions;
}

std::vector<int> frozenAtomsOf(Molecule *mol) {
    std::vector<int> frozen;
    for (int i = 0; i < mol->atomCount; ++i) {
        if (mol->atoms[i].frozen != 0) frozen.push_back(i);
    }
    return frozen;
}

void setPositions(Molecule *mol, std::span<const Position> positions) {
    for (int i = 0; i < mol->atomCount; ++i) {
        auto &atom = mol->atoms[i];
        const auto &at = positions[static_cast<std::size_t>(i)];
        atom.x = at.x;
        atom.y = at.y;
        atom.z = at.z;
    }
}

std::vector<int> codeOf(Molecule *mol) {
    const std::unique_ptr<int, decltype(&std::free)> code(getTransitionCode(mol), &std::free);
    std::vector<int> values;
    if (!code) return values;
    for (const int *value = code.get(); *value != 0; ++value)
        values.push_back(*value);
    values.push_back(0);
    return values;
}

} // namespace saddlefit::host
