#!/usr/bin/env python3
"""Measures what the collection is worth as a database: for its own records and families, each asked of
all the others, and for reactions from elsewhere, beside four fifths of these themselves.

usage: bench/collection.py PROGRAM COLLECTION [DATA] [--document FILE]

COLLECTION and DATA hold reactants.sdf, products.sdf and ts.sdf with the same reactions in the same
order. The tables go to the output, or between two marks of a document.
"""
import argparse
import json
import pathlib
import subprocess
import tempfile

import numpy as np

import quality

NAMES = ("reactants", "products", "ts")
FIFTHS = 5


def read(folder):
    data = {name: quality.records(folder / f"{name}.sdf") for name in NAMES}
    reactions = [quality.Reaction(*map(quality.Side, sides)) for sides in zip(*(data[name] for name in NAMES))]
    return data, reactions


def chosen(data, indices):
    return {name: [data[name][i] for i in indices] for name in NAMES}


def joined(*parts):
    return {name: [text for part in parts for text in part[name]] for name in NAMES}


def answers(program, known, asked):
    """By title, what the records that are known say about those that are asked."""
    with tempfile.TemporaryDirectory() as folder:
        files = {}
        for label, data in (("known", known), ("asked", asked)):
            files[label] = [pathlib.Path(folder) / f"{label}_{name}.sdf" for name in NAMES]
            for name, path in zip(NAMES, files[label]):
                path.write_text("".join(data[name]))
        database, output = pathlib.Path(folder) / "known.db", pathlib.Path(folder) / "answers.jsonl"
        quality.run(program, "db", "add", "--force", "--map", "order", database, *files["known"])
        quality.run(program, "react", *files["asked"][:2], "--db", database, "--json", output, "--map", "order")
        found = {}
        for line in output.read_text().splitlines():
            answer = json.loads(line)
            if "error" not in answer:
                answer["positions"] = np.array([atom["position"] for atom in answer["atoms"]])
                found[answer["title"]] = answer
        return found


class Ways:
    """Answers in the form that the tables of bench/quality.py take."""

    def __init__(self):
        self.by_title = {}


def of_fifths(program, data, count, other, with_own):
    way = Ways()
    for fifth in range(FIFTHS):
        own = [i for i in range(count) if i % FIFTHS != fifth] if with_own else []
        asked = [i for i in range(count) if i % FIFTHS == fifth]
        known = joined(chosen(data, own), other)
        way.by_title.update(answers(program, known, chosen(data, asked)))
    return way


def of_families(program, data, reactions):
    way = Ways()
    families = [reaction.title.rsplit(" ", 1)[0] for reaction in reactions]
    for family in sorted(set(families)):
        asked = [i for i, other in enumerate(families) if other == family]
        known = [i for i, other in enumerate(families) if other != family]
        way.by_title.update(answers(program, chosen(data, known), chosen(data, asked)))
    return way


def row(label, way, reactions):
    matched, everything = quality.matched(way, reactions), quality.asked(way, reactions)
    text = f"| {label} | {len(reactions)} | {100 * len(matched) / len(reactions):.1f} % "
    for part in (matched, everything):
        errors = quality.end_errors(part, quality.positions_in(way))
        text += f"| {np.mean(errors):.3f} | {np.median(errors):.3f} " if errors else "| | "
    return text + "|\n"


def validations(program, collection):
    text = (
        "| left out | asked | matched in full | mean | median | 90th percentile |\n"
        "| --- | --- | --- | --- | --- | --- |\n"
    )
    with tempfile.TemporaryDirectory() as folder:
        database = pathlib.Path(folder) / "collection.db"
        sides = [collection / f"{name}.sdf" for name in NAMES]
        quality.run(program, "db", "add", "--force", "--map", "order", database, *sides)
        for what in ("record", "family"):
            command = [program, "db", "validate", database, "--leave-out", what, "--json"]
            found = json.loads(subprocess.run(command, capture_output=True, text=True, check=True).stdout)
            text += f"| the {what} | {found['leftOut']} | {100 * found['coverage']:.1f} % "
            text += "".join(f"| {found[key]:.3f} " for key in ("meanError", "medianError", "percentile90")) + "|\n"
    return text + "\n"


def tables(program, collection, data):
    records, reactions = read(collection)
    text = validations(program, collection) + (
        "| database | asked | matched | mean, matched | median | mean, all | median |\n"
        "| --- | --- | --- | --- | --- | --- | --- |\n"
    )
    text += row("other families, for each family", of_families(program, records, reactions), reactions)
    if data:
        others, asked = read(data)
        nothing = {name: [] for name in NAMES}
        for label, known, with_own in (
            ("four fifths of the same source", nothing, True),
            ("the collection", records, False),
            ("both", records, True),
        ):
            text += row(label, of_fifths(program, others, len(asked), known, with_own), asked)
    return text


def put_into(document, text):
    head, rest = document.read_text().split("<!-- worth -->\n")
    tail = rest.split("<!-- end of worth -->\n")[1]
    document.write_text(f"{head}<!-- worth -->\n{text}<!-- end of worth -->\n{tail}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program")
    parser.add_argument("collection", type=pathlib.Path)
    parser.add_argument("data", type=pathlib.Path, nargs="?")
    parser.add_argument("--document", type=pathlib.Path)
    options = parser.parse_args()
    text = tables(options.program, options.collection, options.data)
    if options.document:
        put_into(options.document, text)
    else:
        print(text)


if __name__ == "__main__":
    main()
