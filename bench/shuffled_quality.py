#!/usr/bin/env python3
"""Measures how often reactions are answered alike where all atoms of their products are shuffled, from a
database of every second of their transition states.

usage: bench/shuffled_quality.py PROGRAM DATA [--seed N] [--list] [--document FILE]

DATA holds reactants.sdf, products.sdf and ts.sdf with the same reactions in the same order. With --list,
each reaction that is answered otherwise.
"""
import argparse
import collections
import json
import pathlib
import random
import subprocess
import tempfile

from quality import put_into, records

SIDES = ("reactants", "products", "ts")


def shuffled(record, order):
    """Atom order[i] of the record becomes atom i."""
    lines = record.split("\n")
    atoms, bonds = int(lines[3][:3]), int(lines[3][3:6])
    place = {old: new for new, old in enumerate(order)}
    listed = [lines[4 + old] for old in order]
    drawn = []
    for line in lines[4 + atoms : 4 + atoms + bonds]:
        a, b = (place[int(line[i : i + 3]) - 1] + 1 for i in (0, 3))
        drawn.append(f"{a:3d}{b:3d}{line[6:]}")
    rest = [with_places(line, place) for line in lines[4 + atoms + bonds :]]
    return "\n".join(lines[:4] + listed + drawn + rest)


def with_places(line, place):
    """A line of charges or radicals: pairs of an atom and a value."""
    if not line.startswith(("M  CHG", "M  RAD")):
        return line
    words = [int(word) for word in line[9:].split()]
    return line[:9] + "".join(f"{place[a - 1] + 1:4d}{value:4d}" for a, value in zip(words[::2], words[1::2]))


def ask(program, database, folder, reactants, products):
    output = folder / "answers.jsonl"
    subprocess.run([program, "react", reactants, products, "--db", database, "--json", output], capture_output=True)
    return {answer["title"]: answer for answer in map(json.loads, output.read_text().splitlines())}


def answers_both_ways(program, data, seed):
    """By title, as the records are and with shuffled products; only what is answered as it is."""
    texts = {side: records(data / f"{side}.sdf") for side in SIDES}
    chance = random.Random(seed)
    mixed = []
    for text in texts["products"]:
        order = list(range(int(text.split("\n")[3][:3])))
        chance.shuffle(order)
        mixed.append(shuffled(text, order))
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for side in SIDES:
            (folder / f"{side}.sdf").write_text("".join(texts[side][::2]))
        (folder / "mixed.sdf").write_text("".join(mixed))
        database = folder / "half.db"
        subprocess.run([program, "db", "add", database, *(folder / f"{side}.sdf" for side in SIDES)], capture_output=True)
        plain = ask(program, database, folder, data / "reactants.sdf", data / "products.sdf")
        other = ask(program, database, folder, data / "reactants.sdf", folder / "mixed.sdf")
    return {title: (answer, other.get(title, {})) for title, answer in plain.items() if "error" not in answer}


def ends(answer):
    return [change for change in answer["changes"] if (change["before"] == 0) != (change["after"] == 0)]


def reaction_graph(answer):
    """The same for atoms in any order: each atom takes on what its neighbours are on both sides, again
    and again."""
    sides = {tuple(sorted(bond[:2])): (True, True) for bond in answer["reactant"]["bonds"]}
    for change in answer["changes"]:
        sides[tuple(sorted(change["atoms"]))] = (change["before"] > 0, change["after"] > 0)
    neighbours = collections.defaultdict(list)
    for (a, b), label in sides.items():
        neighbours[a].append((label, b))
        neighbours[b].append((label, a))
    colours = {i: hash(atom["symbol"]) for i, atom in enumerate(answer["atoms"], 1)}
    for _ in range(len(colours)):
        colours = {
            atom: hash((colour, tuple(sorted((label, colours[other]) for label, other in neighbours[atom]))))
            for atom, colour in colours.items()
        }
    return sorted(colours.values())


def is_alike(plain, other):
    return "error" not in other and (plain["code"], plain["match"]) == (other["code"], other["match"])


def table(pairs):
    answered = {title: pair for title, pair in pairs.items() if pair[1] and "error" not in pair[1]}
    rivals = {title: pair for title, pair in answered.items() if (pair[1]["pairing"] or {}).get("rivals")}
    count = lambda chosen, holds: f"{sum(holds(*pair) for pair in chosen.values())} of {len(chosen)}"
    rows = (
        ("answered", f"{len(answered)} of {len(pairs)}"),
        ("with more bonds broken and formed than the true reaction has", count(answered, lambda a, b: len(ends(b)) > len(ends(a)))),
        ("with the code of the unshuffled reaction", count(answered, lambda a, b: a["code"] == b["code"])),
        ("with its code and its match", count(answered, is_alike)),
        ("as the true reaction", count(answered, lambda a, b: reaction_graph(a) == reaction_graph(b))),
        ("as the true reaction, where several have as few changes", count(rivals, lambda a, b: reaction_graph(a) == reaction_graph(b))),
    )
    return "| answered | reactions |\n| --- | --- |\n" + "".join(f"| {label} | {cell} |\n" for label, cell in rows)


def differences(pairs):
    """What --list prints."""
    for title, (plain, other) in pairs.items():
        if is_alike(plain, other):
            continue
        words = [f"{a.get('code')} {a.get('stage')} {a.get('match')} {a.get('expectedError')}" for a in (plain, other)]
        truth = "error" in other or ("true" if reaction_graph(plain) == reaction_graph(other) else "rival")
        yield f"{title}: {words[0]} -> {words[1]}, {truth}, rivals {(other.get('pairing') or {}).get('rivals')}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("program")
    parser.add_argument("data", type=pathlib.Path)
    parser.add_argument("--seed", type=int, default=1, help="of the shuffling")
    parser.add_argument("--list", action="store_true", help="name what is answered otherwise")
    parser.add_argument("--document", type=pathlib.Path, help="write the table into it")
    options = parser.parse_args()
    pairs = answers_both_ways(options.program, options.data, options.seed)
    text = table(pairs)
    print(text, end="")
    for line in differences(pairs) if options.list else []:
        print(line)
    if options.document:
        put_into(options.document, text, "shuffled")


if __name__ == "__main__":
    main()
