#!/usr/bin/env python3
"""Times the program: its start, react, db add and db validate, and how much memory they take.

Reactions are repeated under other names, with their transition states a little displaced, until
there are enough. Every second one goes into the database, the others are asked for.

usage: bench/program.py SADDLEFIT REACTIONS_PREFIX... --out FILE
"""
import argparse
import json
import os
import pathlib
import random
import subprocess
import tempfile
from collections import defaultdict

QUERIES = 842
ADDED = (1000, 10000, 100000)
VALIDATED = (100, 1000)
DISPLACEMENT = 0.02  # angstrom
MEGABYTE = 1024  # of the kilobytes in which the system counts


class Measurements:
    """Runs by "case/size/side", in the form that bench/report.py reads."""

    def __init__(self, program):
        self.program = program
        self.runs, self.memory = defaultdict(list), {}

    def run(self, name, arguments, items=1, clock="processor"):
        """Processor time, that of workers included; "wall" where they are to share the work."""
        before = os.times().elapsed
        process = subprocess.Popen([self.program, *map(str, arguments)],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode not in (0, 1):  # 1: some records were refused, or have no answer
            raise RuntimeError(f"{name}: status {process.returncode}")
        wall = os.times().elapsed - before
        seconds = wall if clock == "wall" else usage.ru_utime + usage.ru_stime
        self.runs[name].append(seconds / items)
        self.memory[name] = max(self.memory.get(name, 0), usage.ru_maxrss / MEGABYTE)

    def rows(self):
        return [{"name": "program/" + name, "runs": runs,
                 "counters": {"peak_MB": self.memory[name]} if name.endswith("saddlefit") else {}}
                for name, runs in self.runs.items()]


def records(prefixes, kind):
    texts = (pathlib.Path(prefix + kind + ".sdf").read_text() for prefix in prefixes)
    return [record for text in texts for record in text.split("$$$$\n")[:-1]]


def displaced(record, rng):
    lines = record.split("\n")
    for i in range(4, 4 + int(lines[3][:3])):
        place = [float(lines[i][k:k + 10]) + rng.gauss(0, DISPLACEMENT) for k in (0, 10, 20)]
        lines[i] = "%10.4f%10.4f%10.4f" % tuple(place) + lines[i][30:]
    return "\n".join(lines)


def write_copies(folder, label, sides, count, rng):
    """Reactants, products and transition states, so many in turn; their paths."""
    paths = [folder / f"{label}_{kind}.sdf" for kind in sides]
    for (kind, side), path in zip(sides.items(), paths):
        with path.open("w") as file:
            for i in range(count):
                record = side[i % len(side)]
                if kind == "ts":
                    record = displaced(record, rng)
                title, rest = record.split("\n", 1)
                file.write(f"{title}_{i // len(side)}\n{rest}$$$$\n")
    return paths


def part(sides, chosen):
    return {kind: side[chosen] for kind, side in sides.items()}


def measure_react(measurements, folder, sides, rng, rounds):
    database = folder / "react.db"
    stored = write_copies(folder, "stored", part(sides, slice(0, None, 2)), QUERIES, rng)
    asked = write_copies(folder, "asked", part(sides, slice(1, None, 2)), QUERIES, rng)[:2]
    subprocess.run([measurements.program, "db", "add", "--force", database, *stored], check=False,
                   capture_output=True)
    base = ["react", *asked, "--db", database, "-o", folder / "out.sdf"]
    for _ in range(rounds):
        measurements.run("start/1/saddlefit", ["--version"])
        measurements.run(f"react --relax none, per reaction/{QUERIES}/saddlefit",
                         [*base, "--relax", "none"], QUERIES)
        measurements.run(f"react, per reaction/{QUERIES}/saddlefit", base, QUERIES)
        for side, jobs in (("saddlefit", 2), ("one job", 1)):
            measurements.run(f"react -j 2, by the clock/{QUERIES}/{side}", [*base, "-j", jobs],
                             QUERIES, "wall")
            measurements.run(f"react -j 2, processor time/{QUERIES}/{side}", [*base, "-j", jobs],
                             QUERIES)


def measure_many(measurements, folder, sides, rng, rounds):
    """What grows with the records: db add, and what react keeps of its input."""
    for count in ADDED:
        database = folder / "many.db"
        files = write_copies(folder, "many", sides, count, rng)
        for _ in range(rounds):
            database.unlink(missing_ok=True)
            measurements.run(f"db add, per record/{count}/saddlefit",
                             ["db", "add", "--force", database, *files], count)
        measurements.run(f"reading by react, per reaction/{count}/saddlefit",
                         ["react", *files[:2], "--db", folder / "react.db", "--shard",
                          f"1/{count // 10}", "-o", folder / "out.sdf"], count)


def measure_validation(measurements, folder, sides, rng, rounds):
    """All records have the code of the first reaction."""
    for count in VALIDATED:
        database = folder / f"same{count}.db"
        files = write_copies(folder, "same", part(sides, slice(1)), count, rng)
        subprocess.run([measurements.program, "db", "add", "--force", database, *files],
                       check=False, capture_output=True)
        for _ in range(rounds):
            measurements.run(f"db validate, per record of a code/{count}/saddlefit",
                             ["db", "validate", database], count)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program")
    parser.add_argument("prefixes", nargs="+")
    parser.add_argument("--out", required=True)
    arguments = parser.parse_args()
    sides = {kind: records(arguments.prefixes, kind) for kind in ("reactants", "products", "ts")}
    measurements, rng = Measurements(arguments.program), random.Random(1)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        measure_react(measurements, folder, sides, rng, 7)
        measure_many(measurements, folder, sides, rng, 2)
        measure_validation(measurements, folder, sides, rng, 3)
    pathlib.Path(arguments.out).write_text(json.dumps(measurements.rows()))


if __name__ == "__main__":
    main()
