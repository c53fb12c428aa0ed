#!/usr/bin/env python3
"""Measures what "saddlefit react --saddle" makes of reactions whose transition states are known: five
folds, each predicted from the database of the other four.

usage: bench/saddle_quality.py PROGRAM DATA FOLDER [--document FILE]

DATA holds reactants.sdf, products.sdf and ts.sdf with the same reactions in the same order. What was
computed stays in FOLDER, and a run that was ended goes on there.
"""
import argparse
import contextlib
import io
import json
import pathlib
import resource
import subprocess
import time

import numpy as np
import quality

FOLDS = quality.FOLDS
FIRST = ["--attempts", "1", "--steps", "1"]


class Way:
    """How a set of searches begins: options of "db add" (none: an empty database), whether the folds
    know the reactions that they are asked, and options of "react"."""

    def __init__(self, label, key, add, knows, ask):
        self.label, self.key, self.add, self.knows, self.ask = label, key, add, knows, ask


LADDER = Way("the default guess", "ladder", [], False, [])  # its first attempts are those of the guess alone
WAYS = [
    Way("published state", "published", ["--force"], True, FIRST),
    LADDER,
    Way("half-way lengths, no database", "halfway", None, False, ["--stages", "full", *FIRST]),
]


def write_split(texts, path, fold, takes):
    path.write_text("".join(t for i, t in enumerate(texts) if takes(i % FOLDS == fold)))


def prepared(program, data, folder, way, fold):
    """The questions of a fold and its database, made unless they are there."""
    asked = [folder / f"asked-{fold}-{name}.sdf" for name in ("reactants", "products")]
    for path, name in zip(asked, ("reactants", "products")):
        write_split(data[name], path, fold, lambda mine: mine)
    database = folder / f"{way.key}-{fold}.db"
    if database.exists():
        return asked, database
    known = [folder / f"known-{name}.sdf" for name in ("reactants", "products", "ts")]
    for path, name in zip(known, ("reactants", "products", "ts")):
        write_split(data[name], path, fold, lambda mine: mine == way.knows)
    if way.add is None:
        database.touch()
    else:
        quality.run(program, "db", "add", *way.add, database, *known)
    return asked, database


def computed(program, data, folder, way):
    """The answers of all folds, in the order of the data, and the processor time per reaction."""
    answers, clock = {}, folder / f"{way.key}.seconds"
    for fold in range(FOLDS):
        asked, database = prepared(program, data, folder, way, fold)
        output = folder / f"{way.key}-{fold}.jsonl"
        if not output.exists():
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            command = ["react", *asked, "--saddle", "--db", database, "--json", output, "--resume", *way.ask]
            quality.run(program, *command)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            with clock.open("a") as file:
                file.write(f"{after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime}\n")
        for line in output.read_text().splitlines():
            answer = json.loads(line)
            answers[answer["title"]] = answer
    times = [float(line) for line in clock.read_text().split()]
    return answers, sum(times) / max(len(answers), 1)


def saddle_of(answer):
    return answer.get("saddle") or {"outcome": "failed", "attempts": [], "verified": False, "gradients": 0}


def first_of(answer):
    attempts = saddle_of(answer)["attempts"]
    return attempts[0] if attempts else {"outcome": "failed", "atoms": [], "gradients": 0, "gradientsToSaddle": 0}


def is_first_order(attempt):
    return bool(attempt["atoms"])


def in_one_step(answer):
    return any(a["outcome"] == "verified" and a["start"] != "follow" for a in saddle_of(answer)["attempts"])


def percent(part, whole):
    return f"{100 * part / whole:.1f} %" if whole else ""


def spread(values):
    return f"{np.median(values):.0f} ({np.percentile(values, 90):.0f})" if len(values) else ""


def first_row(label, answers, seconds_per_gradient=None):
    firsts = [first_of(a) for a in answers]
    found = [a for a in firsts if is_first_order(a)]
    right = [a for a in firsts if a["outcome"] == "verified"]
    used = [a["gradients"] for a in firsts]
    seconds = f"{np.mean(used) * seconds_per_gradient:.2f}" if seconds_per_gradient else ""
    return (
        f"| {label} | {len(answers)} | {percent(len(found), len(firsts))} | {percent(len(right), len(firsts))} "
        f"| {spread([a['gradientsToSaddle'] for a in found])} | {spread(used)} | {seconds} |"
    )


FIRST_HEADER = (
    "| start | reactions | first order | both ends right | gradients to the saddle, median (90 %) "
    "| all gradients | CPU s |\n| --- | --- | --- | --- | --- | --- | --- |"
)


def gradients_in(answers):
    return sum(saddle_of(a)["gradients"] for a in answers)


def first_table(runs):
    print(FIRST_HEADER)
    for way, answers, seconds in runs:
        print(first_row(way.label, answers, seconds * len(answers) / gradients_in(answers)))
    answers = next(answers for way, answers, _ in runs if way is LADDER)
    for kind, values in (("stage", ("full", "sigma", "lengths")), ("confidence", ("high", "low"))):
        for value in values:
            print(first_row(f"{kind} {value}", [a for a in answers if a.get(kind) == value]))


def outcome_table(answers):
    print("| first attempt | reactions |\n| --- | --- |")
    outcomes = [first_of(a)["outcome"] for a in answers]
    for outcome in ("verified", "other ends", "higher order", "not converged", "failed"):
        print(f"| {outcome} | {outcomes.count(outcome)} |")


def ladder_table(answers, seconds):
    print("| verified | reactions | | gradients of all attempts, median (90 %) |\n| --- | --- | --- | --- |")
    reached, starts = set(), []
    for start in ("guess", "scan", "lengths"):
        starts.append(start)
        for index, answer in enumerate(answers):
            if any(a["outcome"] == "verified" and a["start"] == start for a in saddle_of(answer)["attempts"]):
                reached.add(index)
        print(f"| from {', '.join(starts)} | {len(reached)} | {percent(len(reached), len(answers))} | |")
    both = [a for a in answers if saddle_of(a)["verified"]]
    lower = sum(in_one_step(a) and len(saddle_of(a)["route"]) > 1 for a in both)
    total = spread([saddle_of(a)["gradients"] for a in answers])
    print(f"| in one or two steps | {len(both)} | {percent(len(both), len(answers))} | {total} |")
    print(f"\n{lower} of the reactions have both, and the two steps lie lower. The ladder takes "
          f"{seconds:.2f} s of processor time per reaction.")


def distance_table(runs, reactions):
    print("| RMSD to the published state, angstrom | reactions | mean | median | 90 % |\n| --- | --- | --- | --- | --- |")
    answers = {a["title"]: a for way, answers, _ in runs if way is LADDER for a in answers}
    chosen = [r for r in reactions if first_of(answers[r.title])["outcome"] == "verified"]
    for label, atoms in (("guess", lambda a: a["atoms"]), ("saddle point", lambda a: first_of(a)["atoms"])):
        errors = []
        for reaction in chosen:
            positions = np.array([atom["position"] for atom in atoms(answers[reaction.title])])
            errors.append(quality.rmsd(positions, reaction.ts.positions))
        print(f"| {label}, of verified first attempts | {len(chosen)} {quality.statistics(errors)}|")


def tables(runs, reactions):
    ladder = next((way, answers, seconds) for way, answers, seconds in runs if way is LADDER)
    with contextlib.redirect_stdout(io.StringIO()) as text:
        for title, table in (
            ("Saddle points from one attempt", lambda: first_table(runs)),
            ("What becomes of the default guess", lambda: outcome_table(ladder[1])),
            ("Saddle points with further attempts", lambda: ladder_table(*ladder[1:])),
            ("How far they are from the published states", lambda: distance_table(runs, reactions)),
        ):
            print(f"\n### {title}\n")
            table()
    return text.getvalue()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program")
    parser.add_argument("data", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--document", type=pathlib.Path, help="write the tables into it")
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)
    data = {name: quality.records(options.data / f"{name}.sdf") for name in ("reactants", "products", "ts")}
    reactions = [quality.Reaction(*map(quality.Side, sides)) for sides in zip(*data.values())]
    runs = []
    for way in WAYS:
        begun = time.time()
        answers, seconds = computed(options.program, data, options.folder, way)
        runs.append((way, [answers[r.title] for r in reactions if r.title in answers], seconds))
        print(f"{way.label}: {len(answers)} answers, {time.time() - begun:.0f} s", flush=True)
    text = tables(runs, reactions)
    print(text)
    if options.document:
        quality.put_into(options.document, text, "saddles")


if __name__ == "__main__":
    main()
