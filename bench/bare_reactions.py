#!/usr/bin/env python3
"""How often reactions that are given as coordinates get the code of those whose bonds are drawn.

usage: bench/bare_reactions.py PROGRAM [--reactions FOLDER] [--list] [--document FILE]

FOLDER has reactants.sdf and products.sdf. With --list, each reaction that got another code; with --document,
the table goes into the file too.
"""
import argparse
import pathlib
import subprocess
import tempfile

from quality import put_into

ROOT = pathlib.Path(__file__).resolve().parent.parent
FINDERS = (("openbabel", "Open Babel, settled between the sides"), ("saddlefit", "the library's rule"))


def xyz_of(sdf):
    """The records of an SD file (V2000) without bonds, charges and fields."""
    text = ""
    for record in sdf.read_text().split("$$$$\n"):
        if not record.strip():
            continue
        lines = record.splitlines()
        atoms = lines[4 : 4 + int(lines[3][:3])]
        charge = sum(
            int(word)
            for line in lines
            if line.startswith("M  CHG")
            for word in line[9:].split()[1::2]
        )
        text += f"{len(atoms)}\n{lines[0]} charge={charge}\n"
        text += "".join(f"{line[31:34]} {line[:30]}\n" for line in atoms)
    return text


def codes(program, reactants, products, folder, *options):
    """By number; reactions that are refused are not among them."""
    database = folder / "empty.db"
    database.touch()
    answers = folder / "answers.sdf"
    answers.unlink(missing_ok=True)
    command = [program, "react", reactants, products, "--db", database, "-o", answers]
    subprocess.run(
        [*command, "--stages", "full", "--relax", "none", "--map", "order", *options],
        capture_output=True,
    )
    found = {}
    for record in answers.read_text().split("$$$$\n") if answers.exists() else []:
        fields = dict(part.split(">\n", 1) for part in record.split("> <")[1:])
        if fields:
            found[int(fields["RECORD"])] = fields["TRANSITION_CODE"].strip()
    return found


def sets_of(reactions):
    """Name, reactants and products."""
    for name in ("parents", "queries"):
        yield f"`data/{name}`", *(ROOT / "data" / f"{name}_{s}.sdf" for s in ("reactants", "products"))
    for name in ("parents", "queries"):
        folder = ROOT / "data" / "b3lyp"
        yield f"`data/b3lyp/{name}`", *(folder / f"{name}_{s}.sdf" for s in ("reactants", "products"))
    if reactions:
        yield "reactions", reactions / "reactants.sdf", reactions / "products.sdf"


def table(program, reactions, folder):
    """A row per set and finder of bonds, and with each the reactions that got another code."""
    yield "| reactions | bonds found by | same code as with drawn bonds |"
    yield "|---|---|---|"
    for name, *sides in sets_of(reactions):
        drawn = codes(program, *sides, folder)
        bare = [folder / f"{side}.xyz" for side in ("reactants", "products")]
        for sdf, xyz in zip(sides, bare):
            xyz.write_text(xyz_of(sdf))
        for finder, words in FINDERS:
            found = codes(program, *bare, folder, "--bonds", finder)
            others = [number for number, code in drawn.items() if found.get(number) != code]
            count, same = len(drawn), len(drawn) - len(others)
            yield f"| {name}: {count} | {words} | {same} of {count} ({100 * same / count:.1f} %) |"
            for number in others:
                yield f"record {number}: {drawn[number]} drawn, {found.get(number, 'refused')} found"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("program", help="the saddlefit program")
    parser.add_argument("--reactions", type=pathlib.Path, help="folder of further reactions")
    parser.add_argument("--list", action="store_true", help="name what got another code")
    parser.add_argument("--document", type=pathlib.Path, help="write the table into it")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        lines = list(table(options.program, options.reactions, pathlib.Path(folder)))
    rows = [line for line in lines if line.startswith("|")]
    print("\n".join(lines if options.list else rows))
    if options.document:
        put_into(options.document, "\n".join(rows) + "\n", "bare")


if __name__ == "__main__":
    main()
