/// The library's molecule in this program's hands.
#pragma once

#include "saddlefit/host.h"

#include "host/structures/structure.hpp"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace saddlefit::host {

struct FreeMolecule {
    void operator()(Molecule *mol) const { freeMol(mol); }
};
using HostMolecule = std::unique_ptr<Molecule, FreeMolecule>;

/// Atoms are labelled C1, O2, ...
HostMolecule hostMolecule(const std::vector<StructureAtom> &atoms,
                          const std::vector<StructureBond> &bonds = {},
                          const std::vector<Transition> &transitions = {});

std::string nameOf(Molecule *mol);
std::vector<Constraint> constraintsOf(Molecule *mol);
std::vector<StructureBond> bondsOf(Molecule *mol);
std::vector<Position> positionsOf(Molecule *mol);
std::vector<int> frozenAtomsOf(Molecule *mol);
void setPositions(Molecule *mol, std::span<const Position> positions);

/// Pairs of atomic numbers, closed by a 0; empty for a molecule without transitions.
std::vector<int> codeOf(Molecule *mol);

} // namespace saddlefit::host
