#!/usr/bin/env python3
"""Measures guesses for large and flexible molecules, whose two sides are conformers of their own: atoms
that touch, and energies by GFN-FF above the lowest of the ways.

usage: bench/large_quality.py PROGRAM DATA [--baseline OTHER] [--document FILE]

DATA is the folder data of this repository. A baseline is another build of the program. Takes xtb.
"""
import argparse
import json
import pathlib
import subprocess
import tempfile

import numpy as np
from quality import put_into

NEAR = 1.5  # angstrom; nothing but a bond is shorter
KCAL = 627.509


def guesses(program, data, folder, start):
    database, output = folder / "parents.db", folder / "out.jsonl"
    database.unlink(missing_ok=True)
    sides = [data / f"parents_{side}.sdf" for side in ("reactants", "products", "ts")]
    subprocess.run([program, "db", "add", "--force", database, *sides], check=True, capture_output=True)
    large = [data / "large" / f"{side}.sdf" for side in ("reactants", "products")]
    subprocess.run([program, "react", *large, "--db", database, "--start", start, "--map-time", "60", "--json", output],
                   check=True, capture_output=True)
    return [json.loads(line) for line in output.read_text().splitlines()]


def contacts(answer):
    """Pairs without a bond that are nearer than a contact can be, and are not on either side."""
    bonded = {(a - 1, b - 1) for a, b, _ in (sorted(bond[:2]) + [0] for bond in answer["bonds"])}
    near, *sides = (distances(structure["atoms"]) < NEAR for structure in (answer, answer["reactant"], answer["product"]))
    pairs = np.argwhere(np.triu(near & ~sides[0] & ~sides[1], 1))
    return sum((a, b) not in bonded for a, b in pairs)


def distances(atoms):
    places = np.array([atom["position"] for atom in atoms])
    return np.linalg.norm(places[:, None] - places[None], axis=-1)


def energy(answer, folder):
    """In kcal/mol; None where xtb has none."""
    atoms = [f"{atom['symbol']} {' '.join(map(str, atom['position']))}" for atom in answer["atoms"]]
    (folder / "guess.xyz").write_text("\n".join([str(len(atoms)), "", *atoms]) + "\n")
    (folder / "gfnff_topo").unlink(missing_ok=True)
    run = subprocess.run(["xtb", "guess.xyz", "--gfnff", "--sp", "--chrg", str(answer["charge"])],
                         cwd=folder, capture_output=True, text=True)
    lines = [line for line in run.stdout.splitlines() if "TOTAL ENERGY" in line]
    return float(lines[-1].split()[3]) * KCAL if lines else None


def table(ways, folder):
    energies = [[energy(answer, folder) for answer in answers] for answers in ways.values()]
    lines = ["| reaction | atoms | " + " | ".join(ways) + " |", "| --- " * (len(ways) + 2) + "|"]
    for i, first in enumerate(next(iter(ways.values()))):
        lowest = min(row[i] for row in energies if row[i] is not None)
        cells = []
        for answers, row in zip(ways.values(), energies):
            above = "-" if row[i] is None else f"{row[i] - lowest:.0f}"
            cells.append(f"{contacts(answers[i])}, {above}")
        lines.append(f"| {first['title']} | {len(first['atoms'])} | " + " | ".join(cells) + " |")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program")
    parser.add_argument("data", type=pathlib.Path)
    parser.add_argument("--baseline", help="another build of the program")
    parser.add_argument("--document", type=pathlib.Path, help="write the table into it")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        ways = {"several starts": guesses(options.program, options.data, folder, "mean")}
        if options.baseline:
            ways["mean alone"] = guesses(options.baseline, options.data, folder, "mean")
        for start in ("reactant", "product"):
            ways[f"start: {start}"] = guesses(options.program, options.data, folder, start)
        text = table(ways, folder)
    print(text, end="")
    if options.document:
        put_into(options.document, text, "large")


if __name__ == "__main__":
    main()
