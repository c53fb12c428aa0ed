#!/usr/bin/env python3
"""Shows what "saddlefit perceive" costs as structures grow: water at its density, and a molecule of
the example data repeated on a lattice, with 100 to 100,000 atoms.

usage: bench/perceive_scaling.py PROGRAM [-n ATOMS ...]

Time is wall time of the whole program, the best of five; the microseconds per atom are those
beyond what a single atom takes, where they stand out from it.
"""
import argparse
import itertools
import math
import pathlib
import random
import subprocess
import tempfile
import time

DATA = pathlib.Path(__file__).resolve().parent.parent / "data"
MOLECULE = "q-da-butadiene-acrolein"
WATER_SPACING = 3.104  # angstrom; one molecule per cell gives 1 g/cm3
MOLECULE_GAP = 2.5  # angstrom between the boxes around two molecules
REPEATS = 5
NOISE = 0.3  # of the time of a single atom, which varies by as much
ATOM_COUNTS = [100, 1000, 10000, 100000]


def water():
    """O-H 0.9572 angstrom, H-O-H 104.52 degrees, the experimental geometry."""
    half = math.radians(104.52 / 2)
    x, y = 0.9572 * math.cos(half), 0.9572 * math.sin(half)
    return [("O", 0.0, 0.0, 0.0), ("H", x, y, 0.0), ("H", x, -y, 0.0)]


def example(title):
    """The molecule of the example data with this title."""
    for record in (DATA / "queries_reactants.sdf").read_text().split("$$$$\n"):
        lines = record.splitlines()
        if lines and lines[0] == title:
            rows = [line.split() for line in lines[4 : 4 + int(lines[3][:3])]]
            return [(row[3], *map(float, row[:3])) for row in rows]
    raise SystemExit(f"{title} is not among the example data")


def turned(atoms, generator):
    """The atoms, turned at random (a unit quaternion, evenly spread)."""
    a, b, c, d = (generator.gauss(0, 1) for _ in range(4))
    norm = math.sqrt(a * a + b * b + c * c + d * d)
    a, b, c, d = a / norm, b / norm, c / norm, d / norm
    rows = (
        (1 - 2 * (c * c + d * d), 2 * (b * c - a * d), 2 * (b * d + a * c)),
        (2 * (b * c + a * d), 1 - 2 * (b * b + d * d), 2 * (c * d - a * b)),
        (2 * (b * d - a * c), 2 * (c * d + a * b), 1 - 2 * (b * b + c * c)),
    )
    return [(e, *(r[0] * x + r[1] * y + r[2] * z for r in rows)) for e, x, y, z in atoms]


def lattice(molecule, spacing, atom_count, turn):
    """About `atom_count` atoms: copies of the molecule on a cubic lattice."""
    copies = max(1, round(atom_count / len(molecule)))
    generator = random.Random(1)
    side = math.ceil(copies ** (1 / 3))
    places = itertools.islice(itertools.product(range(side), repeat=3), copies)
    return [
        (element, x + i * spacing[0], y + j * spacing[1], z + k * spacing[2])
        for i, j, k in places
        for element, x, y, z in (turned(molecule, generator) if turn else molecule)
    ]


def boxes(molecule):
    return [
        max(atom[axis] for atom in molecule) - min(atom[axis] for atom in molecule) + MOLECULE_GAP
        for axis in (1, 2, 3)
    ]


def seconds(command):
    """Wall time of a command, the best of some runs, and what it printed."""
    best, printed = math.inf, ""
    for _ in range(REPEATS):
        start = time.perf_counter()
        printed = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        best = min(best, time.perf_counter() - start)
    return best, printed


def table(program, atom_counts):
    """Yields the lines of the table."""
    molecule = example(MOLECULE)
    series = (
        ("water", water(), [WATER_SPACING] * 3, True),
        (MOLECULE, molecule, boxes(molecule), False),
    )
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "structure.xyz"
        path.write_text("1\none atom\nHe 0 0 0\n")
        start, _ = seconds([program, "perceive", str(path)])
        yield f"one atom: {start:.3f} s"
        yield f"{'structure':<26}{'atoms':>9}{'bonds':>9}{'contacts':>10}{'s':>9}{'us/atom':>9}"
        for (name, atoms, spacing, turn), count in itertools.product(series, atom_counts):
            placed = lattice(atoms, spacing, count, turn)
            lines = (f"{e} {x:.5f} {y:.5f} {z:.5f}\n" for e, x, y, z in placed)
            path.write_text(f"{len(placed)}\n{name}\n" + "".join(lines))
            time_taken, printed = seconds([program, "perceive", str(path)])
            counts = [int(column.split()[0]) for column in printed.split("\t")[1:]]
            own = time_taken - start
            per_atom = f"{1e6 * own / counts[0]:.2f}" if own > NOISE * start else "-"
            yield (
                f"{name:<26}{counts[0]:>9}{sum(counts[1:5]):>9}{counts[5]:>10}"
                f"{time_taken:>9.3f}{per_atom:>9}"
            )


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("program", help="the saddlefit program")
    parser.add_argument("-n", "--atoms", type=int, nargs="+", default=ATOM_COUNTS)
    options = parser.parse_args()
    for line in table(options.program, options.atoms):
        print(line)


if __name__ == "__main__":
    main()
