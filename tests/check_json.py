#!/usr/bin/env python3
"""Runs "saddlefit react --json" on reactions of every kind and holds its lines against the schema.

usage: check_json.py SADDLEFIT SCHEMA DATA
"""
import copy
import ctypes.util
import json
import math
import subprocess
import sys
import tempfile
from pathlib import Path

import jsonschema

program, schema_file, data = sys.argv[1:]
levels = Path(data) / "b3lyp"

# Two atoms of an element that no stored reaction has, and records that are no reaction.
DRAWN = """{title}

x
  3  2  0  0  0  0  0  0  0  0999 V2000
    0.0000    0.0000    0.0000 Se  0  0
    1.9000    0.0000    0.0000 Br  0  0
   -1.9000    0.5000    0.0000 Br  0  0
  1  {partner}  1  0
  2  3  1  0
M  END
$$$$
"""
SIGMA_ROLES = {"breaks": (True, False), "forms": (False, True)}


def drawn(title, partner):
    return DRAWN.format(title=title, partner=partner)


def records(name):
    return (levels / name).read_text()


def run(*arguments):
    done = subprocess.run([program, *map(str, arguments)], capture_output=True, text=True)
    if done.returncode not in (0, 1):
        sys.exit(f"{arguments}: status {done.returncode}\n{done.stderr}")


def answers(folder):
    """All answers of three runs: queries, their parents (stored as they are), and odd ones."""
    database = folder / "db"
    run("db", "add", "--force", database, *(levels / f"parents_{side}.sdf" for side in ("reactants", "products", "ts")))
    (folder / "r.sdf").write_text(records("queries_reactants.sdf") + drawn("selenide", 2) + drawn("same", 2))
    (folder / "p.sdf").write_text(records("queries_products.sdf") + drawn("selenide", 3) + drawn("same", 2))
    runs = [
        (folder / "r.sdf", folder / "p.sdf", "--guesses", "3"),
        (folder / "r.sdf", folder / "p.sdf", "--stages", "full", "--relax", "none"),
        (folder / "r.sdf", folder / "p.sdf", "--stages", "sigma", "--relax", "uff"),
        (levels / "parents_reactants.sdf", levels / "parents_products.sdf"),
    ]
    if ctypes.util.find_library("xtb"):
        runs.append((folder / "r.sdf", folder / "p.sdf", "--saddle", "--attempts", "1"))
    for number, arguments in enumerate(runs):
        output = folder / f"{number}.jsonl"
        run("react", *arguments, "--db", database, "--json", output)
        lines = output.read_text().splitlines()
        objects = [json.loads(line) for line in lines]
        assert [o["record"] for o in objects] == list(range(1, len(objects) + 1)), "a line per reaction"
        yield from objects


def kind_of(answer):
    if "error" in answer:
        return "error"
    if "saddle" in answer:
        return "saddle " + answer["saddle"]["outcome"]
    return f"{answer['outcome']} {answer['stage']}"


def check_consistency(answer):
    """What a schema cannot say."""
    atoms = answer["atoms"]

    def distance(a, b):
        return math.dist(atoms[a - 1]["position"], atoms[b - 1]["position"])

    for change in answer["changes"]:
        assert math.isclose(change["length"], distance(*change["atoms"]), abs_tol=1e-9), change
        ends = (change["before"] > 0 and change["after"] == 0, change["before"] == 0)
        by_match = answer["placement"] == "match" or answer["outcome"] == "exact"
        assert (change["source"] in ("match", "start")) == by_match, change
        assert change["source"] in ("match", "start", "library", change["usualSource"]), change
        assert SIGMA_ROLES.get(change["role"], (False, False)) == ends, change
    held = [c for c in answer["constraints"] if c["kind"] == "distance"]
    numbers = answer["frozen"] + [n for c in held for n in c["atoms"]]
    numbers += [n for bond in answer["bonds"] for n in bond[:2]]
    assert all(n <= len(atoms) for n in numbers), "an atom beyond the last"
    if answer["outcome"] == "none" and answer["relaxed"] == "distances":
        for constraint in held:
            assert abs(distance(*constraint["atoms"]) - constraint["value"]) < 0.05, constraint
    for report in answer["search"]:
        assert report["candidates"] >= report["lookedInto"] >= report["mapped"], report
        for match in report["matches"]:
            assert match["exact"] or len(match["roles"]) == len(answer["changes"]), match
    if answer["match"] is not None:
        assert answer["match"] == answer["search"][-1]["matches"][0]["name"], answer["match"]


def objects_in(value):
    """Every object within a JSON value, itself first."""
    if isinstance(value, dict):
        yield value
    for inner in value.values() if isinstance(value, dict) else value if isinstance(value, list) else []:
        yield from objects_in(inner)


def check_strictness(validator, answer, kind):
    """Each member of each object is demanded, and no other is let through."""
    count = sum(1 for _ in objects_in(answer))
    for i in range(count):
        for spoil in [lambda o: o.update(unheard=1)] + [
            lambda o, key=key: o.pop(key) for key in list(objects_in(answer))[i]
        ]:
            spoilt = copy.deepcopy(answer)
            spoil(list(objects_in(spoilt))[i])
            assert not validator.is_valid(spoilt), f"object {i} of {kind} may be spoilt"


def main():
    schema = json.loads(Path(schema_file).read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    seen = {}
    with tempfile.TemporaryDirectory() as folder:
        for answer in answers(Path(folder)):
            validator.validate(answer)
            if "error" not in answer:
                check_consistency(answer)
            seen.setdefault(kind_of(answer), answer)
    wanted = {"exact full", "partial full", "partial sigma", "none lengths", "none None", "error"}
    assert wanted <= set(seen), f"not seen: {wanted - set(seen)}"
    saddles = jsonschema.Draft202012Validator({"$ref": "#/$defs/saddle", "$defs": schema["$defs"]})
    for kind, answer in seen.items():
        if "saddle" in answer:
            check_strictness(saddles, answer["saddle"], kind)
        else:
            check_strictness(validator, answer, kind)
    print("kinds of answers:", ", ".join(sorted(seen)))


main()
