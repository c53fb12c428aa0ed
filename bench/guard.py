#!/usr/bin/env python3
"""Measures whether the records that "db add" marks as implausible are the bad ones: what they answer in
a database of four fifths that asks all alike, beside what the others answer.

usage: bench/guard.py PROGRAM DATA

DATA holds reactants.sdf, products.sdf and ts.sdf with the same reactions in the same order.
"""
import argparse
import json
import pathlib
import tempfile

import collection
import quality

BAD = 0.5  # angstrom, of the worst bond that is made or broken


def marked_in(program, folder):
    with tempfile.TemporaryDirectory() as scratch:
        database = pathlib.Path(scratch) / "all.db"
        quality.run(program, "db", "add", database, *(folder / f"{name}.sdf" for name in collection.NAMES))
        lines = (json.loads(line) for line in (database.parent / "all.db.jsonl").read_text().splitlines())
        return {line["name"] for line in lines if line["quality"] == "refused"}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("program")
    parser.add_argument("data", type=pathlib.Path)
    options = parser.parse_args()
    records, reactions = collection.read(options.data)
    marked = marked_in(options.program, options.data)
    print(f"{len(marked)} of {len(reactions)} marked ({100 * len(marked) / len(reactions):.1f} %)")

    nothing = {name: [] for name in collection.NAMES}
    way = collection.of_fifths(options.program, records, len(reactions), nothing, True)
    worst = {True: [], False: []}
    for reaction in quality.matched(way, reactions):
        source = way.by_title[reaction.title]["match"]
        worst[source in marked].append(max(quality.end_errors([reaction], quality.positions_in(way))))
    for label, errors in (("marked records", worst[True]), ("others", worst[False])):
        bad = sum(error > BAD for error in errors)
        print(f"{len(errors)} answers of {label}: {bad} with a bond off by more than {BAD} angstrom")


if __name__ == "__main__":
    main()
