"""Writes the queries as reaction SMILES (RDKit): python3 write_smiles.py DIR > DIR/queries.rsmi

Heavy atoms are numbered where both sides are the same molecules."""
import os
import sys

from rdkit import Chem
from write_sdf import SAME_MOLECULES


def records(path):
    return open(path).read().split("$$$$\n")[:-1]


def smiles(record, numbered):
    mol = Chem.MolFromMolBlock(record, removeHs=False)
    Chem.AssignStereochemistryFrom3D(mol)
    for atom in mol.GetAtoms():
        heavy = atom.GetAtomicNum() > 1
        atom.SetAtomMapNum(atom.GetIdx() + 1 if numbered and heavy else 0)
    return Chem.MolToSmiles(Chem.RemoveHs(mol))


def main(folder):
    sides = [records(os.path.join(folder, "queries_%s.sdf" % side)) for side in ("reactants", "products")]
    for before, after in zip(*sides):
        title = before.split("\n")[0]
        numbered = title in SAME_MOLECULES or title.removesuffix("-s") + "-r" in SAME_MOLECULES
        print(smiles(before, numbered) + ">>" + smiles(after, numbered), title)


if __name__ == "__main__":
    main(sys.argv[1])
