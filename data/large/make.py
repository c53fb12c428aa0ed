#!/usr/bin/env python3
"""Makes the large reactions of this folder: each side by Open Babel, in the lowest of several conformers
by GFN-FF (xtb), without regard to the other side, as a chemist's files often are.

usage: python3 make.py [NAME...]      (writes reactants.sdf and products.sdf here)

Takes python3-openbabel and xtb. The atoms of both sides stand in their own orders.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

from openbabel import openbabel as ob
from openbabel import pybel

CONFORMERS = 3

REACTIONS = {
    "da-peptide": "C=CC=CC(=O)N[C@@H](C)C(=O)N[C@@H](Cc1ccccc1)C(=O)N[C@@H](C(C)C)C(=O)OC.C=CC(=O)NCC(=O)OC>>"
                  "C1C(C(=O)NCC(=O)OC)CC=CC1C(=O)N[C@@H](C)C(=O)N[C@@H](Cc1ccccc1)C(=O)N[C@@H](C(C)C)C(=O)OC",
    "da-chain": "C=CC(CCCCCCCCCC)=C.C=CCCCCCCCCCCC>>C1CC(CCCCCCCCCC)=CCC1CCCCCCCCCCC",
    "claisen-chain": "CCCCCCCCCCC(=C)OCC=CCCCCCCCCCC>>CCCCCCCCCCC(=O)CC(C=C)CCCCCCCCCC",
    "claisen-peptide": "C=C(C)OCC=CCC(=O)N[C@@H](C)C(=O)N[C@@H](CC(C)C)C(=O)NCC(=O)OC>>"
                       "C=CC(CC(C)=O)CC(=O)N[C@@H](C)C(=O)N[C@@H](CC(C)C)C(=O)NCC(=O)OC",
    "sn2-chain-41": "[Cl-].CCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCBr>>CCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCl.[Br-]",
    "sn2-peptide": "[Cl-].BrCC(=O)N[C@@H](C)C(=O)N[C@@H](C(C)C)C(=O)N[C@@H](CC(C)C)C(=O)OC>>"
                   "ClCC(=O)N[C@@H](C)C(=O)N[C@@H](C(C)C)C(=O)N[C@@H](CC(C)C)C(=O)OC.[Br-]",
    "e2-chain": "[F-].CCCCCCCCCCC(Cl)CCCCCCCCCC>>CCCCCCCCCCC=CCCCCCCCCC.F.[Cl-]",
    "enol-ketone": "CCCCCCCCCC=C(O)CCCCCCCCCCC>>CCCCCCCCCCC(=O)CCCCCCCCCCC",
    "imidate-peptide": "CC(=O)N[C@@H](C)C(=O)N[C@@H](CC(C)C)C(=O)N[C@@H](C)C(=O)OC>>"
                       "CC(O)=N[C@@H](C)C(=O)N[C@@H](CC(C)C)C(=O)N[C@@H](C)C(=O)OC",
    "cyclobutene-chain": "CCCCCCCCCCC1C=CC1CCCCCCCCCC>>CCCCCCCCCCC=CC=CCCCCCCCCCC",
    "dipole-chain": "CCCCCCCCCCC#[N+][O-].C#CCCCCCCCCCC>>CCCCCCCCCCc1noc(CCCCCCCCCC)c1",
    "ene-chain": "CCCCCCCCCCC=CC.C=CCCCCCCCCCC>>CCCCCCCCCCC(C=C)CCCCCCCCCCCC",
    "retro-da-terpenes": "C1C(CCCC(C)CCCC(C)C)CC=C(CCCC(C)CCCC(C)C)C1>>"
                         "C=CC(CCCC(C)CCCC(C)C)=C.C=CCCCC(C)CCCC(C)C",
    "cope-chain": "CCCCCCCCCCC(C=C)C(C=C)CCCCCCCCCC>>CCCCCCCCCCC=CCCC=CCCCCCCCCCC",
}


def energy(molecule, folder):
    """After an optimisation by GFN-FF; the molecule takes its coordinates."""
    molecule.write("xyz", str(folder / "in.xyz"), overwrite=True)
    subprocess.run(["xtb", "in.xyz", "--gfnff", "--opt", "crude", "--chrg", str(molecule.charge)],
                   cwd=folder, capture_output=True, env={**os.environ, "OMP_NUM_THREADS": "1"})
    relaxed = folder / "xtbopt.xyz"
    if not relaxed.exists():
        return None
    text = relaxed.read_text()
    found = next(pybel.readfile("xyz", str(relaxed)))
    for atom, new in zip(ob.OBMolAtomIter(molecule.OBMol), ob.OBMolAtomIter(found.OBMol)):
        atom.SetVector(new.GetVector())
    relaxed.unlink()
    return float(text.split("\n")[1].split()[1])


def embedded(smiles):
    """Its lowest conformer."""
    molecule = pybel.readstring("smi", smiles)
    molecule.make3D(steps=200)
    if molecule.OBMol.NumRotors() > 0:
        search = ob.OBConformerSearch()
        search.Setup(molecule.OBMol, CONFORMERS, 2, 5, 2)
        search.Search()
        search.GetConformers(molecule.OBMol)
    best, lowest = None, None
    with tempfile.TemporaryDirectory() as name:
        for conformer in range(molecule.OBMol.NumConformers()):
            molecule.OBMol.SetConformer(conformer)
            copy = pybel.Molecule(ob.OBMol(molecule.OBMol))
            found = energy(copy, pathlib.Path(name)) if len(copy.atoms) > 1 else 0.0
            if found is not None and (lowest is None or found < lowest):
                best, lowest = copy, found
    return best


def side(smiles, title):
    """The molecules in a row, with 4 angstrom between them."""
    whole, edge = None, 0.0
    for part in smiles.split("."):
        molecule = embedded(part)
        xs = [atom.coords[0] for atom in molecule.atoms]
        molecule.OBMol.Translate(ob.vector3(edge - min(xs), 0.0, 0.0))
        edge += max(xs) - min(xs) + 4.0
        if whole is None:
            whole = molecule
        else:
            whole.OBMol += molecule.OBMol
    whole.title = title
    whole.data.clear()
    return whole.write("sdf")


def main(names):
    folder = pathlib.Path(__file__).parent
    reactants, products = [], []
    for name in names or REACTIONS:
        before, after = REACTIONS[name].split(">>")
        reactants.append(side(before, name))
        products.append(side(after, name))
        print(name, reactants[-1].split("\n")[3][:3].strip(), "atoms", flush=True)
    (folder / "reactants.sdf").write_text("".join(reactants))
    (folder / "products.sdf").write_text("".join(products))


main(sys.argv[1:])
