"""To and from ASE and RDKit, which are imported only where they are used."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from ._structure import Structure

if TYPE_CHECKING:
    from ._structure import Integers, Reals

_AROMATIC = 5


# ---- ASE ----------------------------------------------------------------------------------------


def ase_atoms(numbers: Integers, positions: Reals) -> Any:
    import ase

    return ase.Atoms(numbers=numbers, positions=positions)


def fixed(atoms: Any, frozen: Integers) -> Any:
    from ase.constraints import FixAtoms

    atoms.set_constraint(FixAtoms(indices=[int(atom) for atom in frozen]))
    return atoms


def structure_of_ase(atoms: Any) -> Structure:
    """Bonds are found by the coordinates: ASE has none."""
    return Structure(atoms.get_atomic_numbers(), atoms.get_positions(),
                     title=str(atoms.info.get("name", "")))


# ---- RDKit --------------------------------------------------------------------------------------


def rdkit_molecule(structure: Structure, positions: Reals) -> Any:
    """At these positions. Not sanitised: a guess has bonds that valences do not explain."""
    from rdkit import Chem
    from rdkit.Geometry import Point3D

    types = {0: Chem.BondType.ZERO, 1: Chem.BondType.SINGLE, 2: Chem.BondType.DOUBLE,
             3: Chem.BondType.TRIPLE, _AROMATIC: Chem.BondType.AROMATIC}
    molecule = Chem.RWMol()
    for number, charge, name in zip(structure.numbers, structure.charges, structure.map_numbers):
        atom = Chem.Atom(int(number))
        atom.SetFormalCharge(int(charge))
        atom.SetAtomMapNum(int(name))
        atom.SetNoImplicit(True)
        molecule.AddAtom(atom)
    for first, second, kind in structure.bonds:
        molecule.AddBond(int(first), int(second), types[int(kind)])
    conformer = Chem.Conformer(len(structure))
    for i, position in enumerate(positions):
        conformer.SetAtomPosition(i, Point3D(*map(float, position)))
    molecule.AddConformer(conformer)
    return molecule.GetMol()


def structure_of_rdkit(molecule: Any) -> Structure:
    """With its first conformer. Hydrogens that are no atoms are not added."""
    from rdkit import Chem

    if molecule.GetNumConformers() == 0:
        raise ValueError("the molecule has no conformer; embed it first, with its hydrogens")
    types = {Chem.BondType.SINGLE: 1, Chem.BondType.DOUBLE: 2, Chem.BondType.TRIPLE: 3,
             Chem.BondType.AROMATIC: _AROMATIC}
    atoms = list(molecule.GetAtoms())
    bonds = [(bond.GetBeginAtomIdx(), bond.GetEndAtomIdx(), types.get(bond.GetBondType(), -1))
             for bond in molecule.GetBonds()]
    return Structure([atom.GetAtomicNum() for atom in atoms],
                     molecule.GetConformer().GetPositions(),
                     bonds,
                     charges=[atom.GetFormalCharge() for atom in atoms],
                     map_numbers=[atom.GetAtomMapNum() for atom in atoms],
                     title=molecule.GetProp("_Name") if molecule.HasProp("_Name") else "")
