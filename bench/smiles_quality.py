#!/usr/bin/env python3
"""Measures what guesses lose where a reaction is given as SMILES instead of with geometries: the
example queries of a folder, asked both ways from a database of the parents.

usage: bench/smiles_quality.py PROGRAM DATA [--document FILE]

DATA is the folder data of this repository.
"""
import argparse
import json
import pathlib
import subprocess
import tempfile

import numpy as np
from quality import put_into, records


def positions(text):
    lines = text.split("\n")
    return np.array([[float(line[i : i + 10]) for i in (0, 10, 20)] for line in lines[4 : 4 + int(lines[3][:3])]])


def lengths(answer, places):
    """Of the made and broken bonds, by what they are; equal kinds in ascending order, for the atoms
    stand in another order in each answer."""
    symbols = [atom["symbol"] for atom in answer["atoms"]]
    rows = []
    for change in answer["changes"]:
        a, b = (atom - 1 for atom in change["atoms"])
        if (change["before"] == 0) == (change["after"] == 0):
            continue
        kind = (change["before"] == 0, *sorted((symbols[a], symbols[b])))
        rows.append((kind, float(np.linalg.norm(places[a] - places[b]))))
    return sorted(rows)


def ask(program, database, folder, arguments):
    output = folder / "out.jsonl"
    run = subprocess.run([program, "react", *map(str, arguments), "--db", database, "--json", output],
                         capture_output=True, text=True)
    answers = [json.loads(line) for line in output.read_text().splitlines()]
    return {answer["title"]: answer for answer in answers}, run.stderr


def error(answer, true):
    found = lengths(answer, np.array([atom["position"] for atom in answer["atoms"]]))
    if [kind for kind, _ in found] != [kind for kind, _ in true]:
        return None
    return float(np.mean([abs(one - other) for (_, one), (_, other) in zip(found, true)]))


def measured(program, data):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        database = folder / "parents.db"
        subprocess.run([program, "db", "add", "--force", database, *(data / f"parents_{side}.sdf" for side in ("reactants", "products", "ts"))],
                       check=True, capture_output=True)
        given, _ = ask(program, database, folder, [data / "queries_reactants.sdf", data / "queries_products.sdf"])
        built, messages = ask(program, database, folder, [data / "queries.rsmi"])
    rows = []
    for text in records(data / "queries_ts.sdf"):
        title = text.split("\n")[0].strip()
        true = lengths(given[title], positions(text))
        answers = given[title], built.get(title, {})
        rows.append((title, *(error(answer, true) if "atoms" in answer else None for answer in answers)))
    return rows, messages


def table(rows):
    shown = lambda value: "-" if value is None else f"{value:.3f}"
    lines = ["| reaction | with geometries | as SMILES | difference |", "| --- | --- | --- | --- |"]
    for title, given, built in rows:
        difference = None if None in (given, built) else built - given
        lines.append(f"| {title} | {shown(given)} | {shown(built)} | {'-' if difference is None else f'{difference:+.3f}'} |")
    both = [(given, built) for _, given, built in rows if None not in (given, built)]
    means = np.mean(both, axis=0)
    lines.append(f"| mean | {means[0]:.3f} | {means[1]:.3f} | {means[1] - means[0]:+.3f} |")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program")
    parser.add_argument("data", type=pathlib.Path)
    parser.add_argument("--document", type=pathlib.Path, help="write the table into it")
    options = parser.parse_args()
    rows, messages = measured(options.program, options.data)
    print(messages, end="")
    text = table(rows)
    print(text, end="")
    if options.document:
        put_into(options.document, text, "smiles")


if __name__ == "__main__":
    main()
