#!/usr/bin/env python3
"""Measures how good bonds from coordinates and R/S codes are, and writes docs/perception.md.

usage: bench/perception_quality.py PROGRAM [--reactions SDF] [-o docs/perception.md]

Needs the obabel program and RDKit's Python modules; Debian: openbabel, python3-rdkit.
"""
import argparse
import collections
import datetime
import json
import pathlib
import platform
import re
import subprocess
import sys
import tempfile

try:
    from rdkit import Chem, RDConfig, RDLogger, rdBase
    from rdkit.Chem import AllChem, rdCIPLabeler
except ImportError:
    sys.exit("RDKit's Python modules are missing; install python3-rdkit and use Debian's python3")
try:
    from rdkit.Chem import rdDetermineBonds
except ImportError:
    rdDetermineBonds = None

import bare_reactions
import perceive_scaling
from chiral_molecules import CHIRAL_MOLECULES

ROOT = pathlib.Path(__file__).resolve().parent.parent
EXAMPLES = ("parents", "queries")
SIDES = ("reactants", "products")
RDKIT_FILES = (
    ("egfr.sdf", "Contrib/PBF/testData/egfr.sdf"),
    ("cdk2.sdf", "Contrib/Fastcluster/testdata/cdk2.sdf"),
)
AROMATIC = 4  # as in MDL files
LIBRARY_AROMATIC = 5
SEED = 20  # of the embedding
MOST_DIFFERENCES = 10  # kinds of bond differences that are listed

RDLogger.DisableLog("rdApp.*")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


# ---- structures -------------------------------------------------------------------------------


class Record:
    """A V2000 record: title, elements, coordinates, bonds {(a, b): type}, charges {atom: charge}."""

    def __init__(self, text):
        lines = text.splitlines()
        atoms, bonds = int(lines[3][:3]), int(lines[3][3:6])
        rows = lines[4 : 4 + atoms]
        self.title = lines[0]
        self.elements = [row[31:34].strip() for row in rows]
        self.points = [tuple(float(row[k : k + 10]) for k in (0, 10, 20)) for row in rows]
        self.bonds = {}
        for row in lines[4 + atoms : 4 + atoms + bonds]:
            a, b, kind = (int(row[k : k + 3]) for k in (0, 3, 6))
            self.bonds[min(a, b) - 1, max(a, b) - 1] = kind
        self.charges = {}
        for row in lines:
            if row.startswith("M  CHG"):
                numbers = [int(word) for word in row[9:].split()]
                self.charges.update((a - 1, c) for a, c in zip(numbers[::2], numbers[1::2]))

    def xyz(self):
        lines = (f"{e} {x:.4f} {y:.4f} {z:.4f}\n" for e, (x, y, z) in zip(self.elements, self.points))
        return f"{len(self.elements)}\n{self.title}\n" + "".join(lines)


def records_in(text):
    return [Record(part) for part in text.split("$$$$\n") if part.strip()]


def with_aromatic_rings(record, bonds):
    """The bonds with the rings that RDKit calls aromatic made type 4, whatever the valences."""
    mol = Chem.RWMol()
    for number, element in enumerate(record.elements):
        atom = Chem.Atom(element)
        atom.SetNoImplicit(True)
        atom.SetFormalCharge(record.charges.get(number, 0))
        mol.AddAtom(atom)
    orders = {1: Chem.BondType.SINGLE, 2: Chem.BondType.DOUBLE, 3: Chem.BondType.TRIPLE}
    for (a, b), kind in bonds.items():
        mol.AddBond(a, b, orders.get(kind, Chem.BondType.AROMATIC))
        if kind == AROMATIC:
            mol.GetBondBetweenAtoms(a, b).SetIsAromatic(True)
    mol.UpdatePropertyCache(strict=False)
    Chem.FastFindRings(mol)
    Chem.SetAromaticity(mol)
    return {
        pair: AROMATIC if mol.GetBondBetweenAtoms(*pair).GetIsAromatic() else kind
        for pair, kind in bonds.items()
    }


# ---- bonds from coordinates: each gives a list of {(a, b): type}, None where it failed ---------


def by_saddlefit(program, records, folder):
    path = folder / "records.xyz"
    path.write_text("".join(record.xyz() for record in records))
    perceived = []
    for line in run(program, "perceive", str(path), "--json").splitlines():
        perceived.append(
            {
                (a - 1, b - 1): AROMATIC if kind == LIBRARY_AROMATIC else kind
                for a, b, kind in json.loads(line)["bonds"]
                if kind != 0
            }
        )
    return perceived


def by_open_babel(records, folder):
    path = folder / "records.xyz"
    path.write_text("".join(record.xyz() for record in records))
    return [record.bonds for record in records_in(run("obabel", "-ixyz", str(path), "-osdf"))]


def by_rdkit(record):
    """With rdDetermineBonds where this RDKit has it; else bonds without orders, by distance."""
    if rdDetermineBonds is None:
        return by_rdkit_proximity(record)
    mol = Chem.MolFromXYZBlock(record.xyz())
    try:
        charge = sum(record.charges.values())
        rdDetermineBonds.DetermineBonds(mol, charge=charge, embedChiral=False)
    except ValueError:
        return None
    kinds = {Chem.BondType.SINGLE: 1, Chem.BondType.DOUBLE: 2, Chem.BondType.TRIPLE: 3}
    return {
        tuple(sorted((bond.GetBeginAtomIdx(), bond.GetEndAtomIdx()))): kinds.get(
            bond.GetBondType(), AROMATIC
        )
        for bond in mol.GetBonds()
    }


def by_rdkit_proximity(record):
    lines = [
        f"HETATM{number:5d} {element:<4} UNL A   1    {x:8.3f}{y:8.3f}{z:8.3f}  1.00  0.00"
        f"          {element.upper():>2}\n"
        for number, (element, (x, y, z)) in enumerate(zip(record.elements, record.points), 1)
    ]
    mol = Chem.MolFromPDBBlock(
        "".join(lines) + "END\n", sanitize=False, removeHs=False, proximityBonding=True
    )
    pairs = ((bond.GetBeginAtomIdx(), bond.GetEndAtomIdx()) for bond in mol.GetBonds())
    return {tuple(sorted(pair)): 1 for pair in pairs}


# ---- bonds: agreement with the file ------------------------------------------------------------


def share(part, whole):
    return f"{part} of {whole} ({100 * part / whole:.1f} %)" if whole else "-"


def bond_name(record, pair):
    return "-".join(sorted(record.elements[atom] for atom in pair))


def order_name(kind):
    return {0: "none", 1: "1", 2: "2", 3: "3", AROMATIC: "aromatic"}[kind]


def count_differences(record, expected, found, differences):
    for pair in expected.keys() | found.keys():
        before, after = expected.get(pair, 0), found.get(pair, 0)
        if before != after:
            kind = (bond_name(record, pair), order_name(before), order_name(after))
            differences.setdefault(kind, set()).add((record.title, pair))


def bond_table(program, sets, folder):
    """Rows of the table, and what saddlefit found otherwise: {kind of difference: bonds}."""
    rdkit_orders = rdDetermineBonds is not None
    rows = ["| molecules | tool | connectivity | orders too |", "|---|---|---|---|"]
    differences = {}
    for name, records in sets:
        expected = [with_aromatic_rings(record, record.bonds) for record in records]
        tools = (
            ("saddlefit", by_saddlefit(program, records, folder), True),
            ("Open Babel", by_open_babel(records, folder), True),
            ("RDKit", [by_rdkit(record) for record in records], rdkit_orders),
        )
        for tool, answers, has_orders in tools:
            connected = ordered = 0
            for record, wanted, bonds in zip(records, expected, answers, strict=True):
                found = None if bonds is None else with_aromatic_rings(record, bonds)
                connected += found is not None and found.keys() == wanted.keys()
                ordered += found == wanted
                if tool == "saddlefit":
                    count_differences(record, wanted, found, differences)
            orders = share(ordered, len(records)) if has_orders else "not offered"
            rows.append(f"| {name} | {tool} | {share(connected, len(records))} | {orders} |")
    return rows, differences


def difference_table(differences):
    rows = ["| elements | in the file | perceived | bonds | molecules |", "|---|---|---|---|---|"]
    ranked = sorted(differences.items(), key=lambda item: (-len(item[1]), item[0]))
    for (elements, before, after), bonds in ranked[:MOST_DIFFERENCES]:
        molecules = len({title for title, _ in bonds})
        rows.append(f"| {elements} | {before} | {after} | {len(bonds)} | {molecules} |")
    rest = sum(len(bonds) for _, bonds in ranked[MOST_DIFFERENCES:])
    if rest:
        rows.append(f"| others | | | {rest} | |")
    return rows


# ---- R/S codes -----------------------------------------------------------------------------------


def embedded(name, smiles):
    mol = Chem.AddHs(Chem.MolFromSmiles(smiles))
    if AllChem.EmbedMolecule(mol, randomSeed=SEED) != 0:
        sys.exit(f"{name} cannot be embedded")
    AllChem.MMFFOptimizeMolecule(mol, maxIters=2000)
    mol.SetProp("_Name", name)
    return mol


def molecules_of_file(path):
    molecules = []
    for number, mol in enumerate(Chem.SDMolSupplier(str(path), removeHs=False), 1):
        if mol is None:
            continue
        Chem.AssignStereochemistryFrom3D(mol)
        if not Chem.FindMolChiralCenters(mol):
            continue
        mol.SetProp("_Name", f"{mol.GetProp('_Name') or 'record'} ({number})")
        molecules.append(mol)
    return molecules


def codes_by_saddlefit(program, molecules, folder, bonds):
    """Codes of all atoms, molecule by molecule; from the file's bonds or from perceived ones."""
    path = folder / ("codes.sdf" if bonds else "codes.xyz")
    if bonds:
        with Chem.SDWriter(str(path)) as writer:
            for mol in molecules:
                writer.write(mol)
    else:
        path.write_text("".join(Chem.MolToXYZBlock(mol) for mol in molecules))
    lines = run(program, "stereo", str(path), "--json").splitlines()
    return [[atom["code"] for atom in json.loads(line)["atoms"]] for line in lines]


def cip_labels(mol):
    labelled = Chem.Mol(mol)
    for atom in labelled.GetAtoms():
        atom.ClearProp("_CIPCode")
    rdCIPLabeler.AssignCIPLabels(labelled)
    return [
        atom.GetProp("_CIPCode") if atom.HasProp("_CIPCode") else "-" for atom in labelled.GetAtoms()
    ]


def compared(mol, labels, codes):
    """A (kind, atom, label, code) for each atom that either calls a centre."""
    for atom, label, code in zip(mol.GetAtoms(), labels, codes, strict=True):
        if label == code == "-":
            continue
        if label == code:
            kind = "same"
        elif label in "rs":
            kind = "pseudo"
        elif label == "-":
            kind = "extra"
        elif code != "-":
            kind = "opposite"
        else:
            kind = "three" if atom.GetDegree() == 3 else "tie"
        yield kind, atom, label, code


KINDS = {
    "same": "same letter",
    "opposite": "opposite letter",
    "tie": "no code: neighbours rank equal",
    "three": "no code: three neighbours",
    "pseudo": "RDKit: r or s, no code here",
    "extra": "code here, no label by RDKit",
}


def stereo_counts(molecules, codes):
    counts = collections.Counter()
    listed = []
    for mol, own in zip(molecules, codes, strict=True):
        for kind, atom, label, code in compared(mol, cip_labels(mol), own):
            if kind == "pseudo" and code != "-":
                kind = "extra"
            counts[kind] += 1
            if kind != "same":
                listed.append((mol, atom, label, code, kind))
    return counts, listed


def stereo_table(program, sets, folder):
    header = "| molecules | bonds | " + " | ".join(KINDS.values()) + " |"
    rows = [header, "|---" * (len(KINDS) + 2) + "|"]
    differing = []
    for name, molecules in sets:
        for source in ("file", "perceived"):
            codes = codes_by_saddlefit(program, molecules, folder, source == "file")
            counts, listed = stereo_counts(molecules, codes)
            cells = [str(counts[kind]) for kind in KINDS]
            total = sum(counts[kind] for kind in KINDS if kind != "extra")
            cells[0] = share(counts["same"], total)
            rows.append(f"| {name}: {len(molecules)} | {source} | " + " | ".join(cells) + " |")
            if source == "file":
                differing.append((name, listed))
    return rows, differing


def neighbourhood(atom):
    """The groups around a centre, to two bonds' distance."""
    groups = []
    for bond in atom.GetBonds():
        near = bond.GetOtherAtom(atom)
        beyond = sorted(
            (far.GetSymbol() for far in near.GetNeighbors() if far.GetIdx() != atom.GetIdx()),
            reverse=True,
        )
        counted = collections.Counter(beyond)
        inner = "".join(e + (str(n) if n > 1 else "") for e, n in counted.items())
        groups.append(near.GetSymbol() + (f"({inner})" if inner else ""))
    return ", ".join(sorted(groups, reverse=True))


def stereo_list(listed):
    rows = ["| molecule | atom | groups | RDKit | saddlefit |", "|---|---|---|---|---|"]
    for mol, atom, label, code, _ in listed:
        name = f"{atom.GetSymbol()}{atom.GetIdx() + 1}"
        rows.append(f"| {mol.GetProp('_Name')} | {name} | {neighbourhood(atom)} | {label} | {code} |")
    return rows


# ---- the document --------------------------------------------------------------------------------

INTRODUCTION = """\
# How good bonds from coordinates and R/S codes are

Made by `bench/perception_quality.py` on {date}:

    {command}

saddlefit {saddlefit}, Open Babel {openbabel}, RDKit {rdkit}, Python {python}.

## Bonds from coordinates

Bonds are taken from coordinates alone and compared with those of the file, molecule by molecule:
"connectivity" means that the same pairs of atoms are bonded, "orders too" that every bond has the
file's order as well. Rings that RDKit's model calls aromatic in the file, or in what was perceived,
count as aromatic on that side, so that Kekule forms do not matter. Contacts (type 0) are no bonds.
Charges are the file's on both sides. {rdkit_method}
"""

WITH_ORDERS = "RDKit's bonds are those of rdDetermineBonds, to which the charge is given."
WITHOUT_ORDERS = """\
This RDKit comes without rdDetermineBonds: its
bonds are those that its PDB reader finds by distance, which have no orders."""

BOND_SETS = """
`reactions` are the reactants of 240 elementary reactions (C. A. Grambow, L. Pattanaik, W. H. Green,
Scientific Data 7, 137 (2020)), wB97X-D3 geometries with up to seven C, N and O atoms.
`data/`, and `data/b3lyp/`, are the reactants and products of this repository's example reactions
(GFN2-xTB; B3LYP), among them complexes of two molecules or of a molecule and an ion.{shipped}
"""

DRUGS = """
`egfr.sdf` comes with RDKit: inhibitors with several aromatic rings each, many of them pyrimidines."""

BOND_DIFFERENCES = """
What saddlefit finds otherwise, in all these sets:
"""

BOND_REASONS = """
The systematic differences:

- C-C and C-N bonds are never triple: the rule for these pairs ends at 2, so that alkynes and
  nitriles have a double bond. Carbon monoxide has one too: C-O is triple below 1.02 angstrom only.
- No more than one double bond stays at a carbon. Of two the longer one remains and the other becomes
  single, as in CO2 and allenes. C-O is double below 1.255 angstrom: of the two bonds of a
  carboxylate, which lie around it, neither or either may be.
- Aromatic are C-C and C-N bonds only, and each needs such bonds on both sides of it. A ring that
  holds another bond (N-N, N-O, C-O, C-S) is localised from there on: pyrazoles, thiophenes.
- A hydrogen beside a ring nitrogen, as in pyridine and pyrimidine, lies within reach of a hydrogen
  bond (2.2 angstrom). The tentative bond is removed, but until then it counts as one more neighbour
  of the nitrogen, whose ring is localised. With carbon there instead, the ring is aromatic.
- Where lengths and angles are like those of a ring, C-C and C-N bonds beside rings and in rings
  that are not aromatic become aromatic: lengths are compared, electrons are not counted.
- Nitro groups and nitrile oxides get double N-O bonds where the file separates charges: orders
  follow from lengths, valences and charges are not looked at.
- H-F is bonded up to 0.86 angstrom, and C-F up to 1.39: hydrogen fluoride falls apart, as does a
  fluoromethane with a long bond.
- C-C is bonded up to 1.99 angstrom, which joins carbons across the smallest cages.
"""

REACTIONS = """
## Reactions from coordinates

Both sides of reactions are given as XYZ, with the charge in the title, and asked for their transition
code, which has to be the one that the drawn bonds give (`bench/bare_reactions.py saddlefit`, which
names the others with `--list`). Open Babel's bonds get the triple bonds that it misses where there is no
angle to see them by (carbon monoxide, hydrogen isocyanide), by their lengths; then double bonds are
shifted so that the fewest orders change between the sides. `react --bonds` chooses.
"""

STEREO = """
## R/S codes

R/S codes of `saddlefit stereo`, with the bonds of the file and with perceived ones, against the CIP
labels of RDKit's rdCIPLabeler on the same three-dimensional structures. `list` are the molecules of
`bench/chiral_molecules.py`, embedded with ETKDG and relaxed with MMFF.
{files}Only molecules with a labelled centre are counted.
"""

STEREO_REASONS = """
The order of the substituents is the library's own (see `cmpAtoms` in
`include/saddlefit/matching.h`). Systematic differences:

- Three-coordinate centres (sulfoxides, sulfonium, phosphines, bridgehead nitrogen) have no code:
  lone pairs are not counted as neighbours.
- Centres whose neighbours differ by R/S or E/Z alone (r and s of meso forms, as in inositols) have
  no code: descriptors are not part of the ranking.
- The sets of atoms that hang from the neighbours of one atom are compared with the set of the
  heaviest atoms first, whichever atom it hangs from; the sequence rule begins with the set at the
  highest-ranked atom. So at C4 of a pyranose the library compares C2 (O,C,H) with C6 (O,H,H), and
  the sequence rule the ring oxygen (C) with the hydroxyl oxygen (H): opposite letters.
- Isotopes are not distinguished.

Further differences of the rule, which decide none of these centres: two spheres on, the sets that
hang from lower-ranked atoms come first; aromatic bonds weigh one and a half; there are no duplicate
atoms at ring closures, each atom is walked past once per branch; and a branch that has run out of
atoms ranks above one that still grows and agrees so far.
"""

COST = """
## Cost

`bench/perceive_scaling.py saddlefit`: seconds for the whole of `saddlefit perceive`, the best of
five runs, and microseconds per atom beyond what a single atom takes. Water has its density at room
temperature; the other molecule of the example data is repeated on a lattice.
"""

STEREO_LISTS = """
Centres of `{name}` where the two differ, with the bonds of the file (r and s by RDKit included):
"""


def versions(program, with_reactions):
    shown = ["bench/perception_quality.py", "saddlefit"]
    if with_reactions:
        shown += ["--reactions", "reactants.sdf"]
    return {
        "date": datetime.date.today().isoformat(),
        "command": " ".join(shown),
        "saddlefit": run(program, "--version").split()[-1],
        "openbabel": re.search(r"Open Babel (\S+)", run("obabel", "-V")).group(1),
        "rdkit": rdBase.rdkitVersion,
        "python": platform.python_version(),
        "rdkit_method": WITHOUT_ORDERS if rdDetermineBonds is None else WITH_ORDERS,
    }


def rdkit_file(place):
    path = pathlib.Path(RDConfig.RDContribDir).parent / place
    if path.exists():
        return path
    print(f"{path.name} is not among RDKit's files here: left out", file=sys.stderr)
    return None


def bond_sets(reactions):
    sets = []
    if reactions and reactions.exists():
        sets.append(("reactions", records_in(reactions.read_text())))
    else:
        print("the reactions' file is not here: left out", file=sys.stderr)
    for folder in ("data", "data/b3lyp"):
        files = [ROOT / folder / f"{name}_{side}.sdf" for name in EXAMPLES for side in SIDES]
        records = [record for path in files for record in records_in(path.read_text())]
        sets.append((f"`{folder}/`", records))
    name, place = RDKIT_FILES[0]
    if path := rdkit_file(place):
        sets.append((name, records_in(path.read_text())))
    return [(f"{name}: {len(records)}", records) for name, records in sets]


def stereo_sets():
    sets = [("list", [embedded(*entry) for entry in CHIRAL_MOLECULES.items()])]
    for name, place in RDKIT_FILES:
        if path := rdkit_file(place):
            sets.append((name, molecules_of_file(path)))
    return sets


def document(program, reactions, folder):
    bonds = bond_sets(reactions)
    rows, differences = bond_table(program, bonds, folder)
    with_reactions = bonds[0][0].startswith("reactions")
    shipped = DRUGS if bonds[-1][0].startswith(RDKIT_FILES[0][0]) else ""
    yield INTRODUCTION.format(**versions(program, with_reactions))
    yield BOND_SETS.format(shipped=shipped).strip("\n") + "\n"
    yield from rows
    yield BOND_DIFFERENCES
    yield from difference_table(differences)
    yield BOND_REASONS.rstrip("\n")
    yield REACTIONS
    yield from bare_reactions.table(program, reactions.parent if with_reactions else None, folder)
    sets = stereo_sets()
    shipped = " and ".join(f"`{name}`" for name, _ in sets[1:])
    files = f"{shipped} come with RDKit and bring their own coordinates.\n" if shipped else ""
    yield STEREO.format(files=files)
    rows, differing = stereo_table(program, sets, folder)
    yield from rows
    yield STEREO_REASONS.rstrip("\n")
    for name, listed in differing:
        if listed:
            yield STEREO_LISTS.format(name=name)
            yield from stereo_list(listed)
    yield COST
    for line in perceive_scaling.table(program, perceive_scaling.ATOM_COUNTS):
        yield "    " + line


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("program", help="the saddlefit program")
    parser.add_argument("--reactions", type=pathlib.Path, help="reactants of the 240 reactions")
    parser.add_argument(
        "-o", "--output", type=pathlib.Path, default=ROOT / "docs" / "perception.md"
    )
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        text = "\n".join(document(options.program, options.reactions, pathlib.Path(folder)))
    options.output.write_text(text + "\n")
    print(text)


if __name__ == "__main__":
    main()
