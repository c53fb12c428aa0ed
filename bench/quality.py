#!/usr/bin/env python3
"""Measures how good the guesses of "saddlefit react" are on reactions whose transition states are
known: five folds, each predicted from the database of the other four.

usage: bench/quality.py PROGRAM DATA [--xtb] [--document FILE] [--baseline OTHER] [--coefficients HPP]

DATA holds reactants.sdf, products.sdf and ts.sdf with the same reactions in the same order. A
baseline is another build of the program, compared reaction by reaction.
"""
import argparse
import contextlib
import io
import itertools
import json
import pathlib
import subprocess
import tempfile

import error_model
import numpy as np

FOLDS = 5
DRAWS = 2000  # of reactions, for an interval


class Side:
    def __init__(self, text):
        lines = text.split("\n")
        atoms, bonds = int(lines[3][:3]), int(lines[3][3:6])
        self.title = lines[0].strip()
        self.symbols = [line[31:34].strip() for line in lines[4 : 4 + atoms]]
        self.positions = np.array([[float(line[i : i + 10]) for i in (0, 10, 20)] for line in lines[4 : 4 + atoms]])
        self.bonds = {
            tuple(sorted((int(line[:3]) - 1, int(line[3:6]) - 1))): int(line[6:9])
            for line in lines[4 + atoms : 4 + atoms + bonds]
        }


class Reaction:
    def __init__(self, reactant, product, ts):
        self.title = reactant.title
        self.symbols = reactant.symbols
        self.reactant, self.product, self.ts = reactant, product, ts
        before, after = reactant.bonds, product.bonds
        self.ends = sorted(set(before) ^ set(after))
        self.lasting = sorted(set(before) & set(after))
        changed = {pair for pair in set(before) | set(after) if before.get(pair) != after.get(pair)}
        self.centre = sorted({atom for pair in changed for atom in pair})

    def mean(self):
        moved = superposed(self.product.positions, self.reactant.positions)
        return (self.reactant.positions + moved) / 2


def records(path):
    return [text + "$$$$\n" for text in path.read_text().split("$$$$\n") if text.strip()]


def superposed(moving, target):
    """Moves one set of positions onto another: Kabsch, Acta Cryst. A 32, 922 (1976)."""
    a, b = moving - moving.mean(0), target - target.mean(0)
    u, _, v = np.linalg.svd(a.T @ b)
    turn = np.diag([1, 1, np.sign(np.linalg.det(u @ v))])
    return a @ u @ turn @ v + target.mean(0)


def distances(positions, pairs):
    return np.array([np.linalg.norm(positions[a] - positions[b]) for a, b in pairs])


def rmsd(positions, true):
    """The smaller of the two hands: a reaction and its mirror image are one reaction."""
    mirrored = positions * [-1, 1, 1]
    return min(np.sqrt(((superposed(p, true) - true) ** 2).sum(1).mean()) for p in (positions, mirrored))


def run(program, *arguments):
    return subprocess.run([program, *map(str, arguments)], capture_output=True, text=True)


class Answers:
    """What one way of asking gives for each reaction, by title."""

    def __init__(self, program, data, add, ask):
        self.by_title = {}
        self.refused = 0
        with tempfile.TemporaryDirectory() as folder:
            for fold in range(FOLDS):
                self.ask(program, data, pathlib.Path(folder), fold, add, ask)

    def ask(self, program, data, folder, fold, add, ask):
        names = ("reactants", "products", "ts")
        known, asked = [folder / f"k_{n}.sdf" for n in names], [folder / f"a_{n}.sdf" for n in names]
        for name, k, a in zip(names, known, asked):
            texts = data[name]
            k.write_text("".join(t for i, t in enumerate(texts) if i % FOLDS != fold))
            a.write_text("".join(t for i, t in enumerate(texts) if i % FOLDS == fold))
        database, output = folder / "k.db", folder / "a.jsonl"
        database.unlink(missing_ok=True)
        pathlib.Path(f"{database}.jsonl").unlink(missing_ok=True)
        added = run(program, "db", "add", *(o for o in add if o != REMOVE), "--json", database, *known)
        stored = [record for record in json.loads(added.stdout)["stored"] if not record.get("lastResort")]
        self.refused += len(data["ts"]) - len(asked_titles(data, fold)) - len(stored)
        if REMOVE in add:
            found = json.loads(run(program, "db", "find", database, "--refused", "--json").stdout)["records"]
            run(program, "db", "remove", database, *(record["position"] for record in found))
        options = [str(asked[2]) if option == "TRUE" else option for option in ask]
        run(program, "react", *asked[:2], "--db", database, "--json", output, "-j2", *options)
        for line in output.read_text().splitlines():
            answer = json.loads(line)
            if "error" not in answer:
                answer["positions"] = np.array([atom["position"] for atom in answer["atoms"]])
                self.by_title[answer["title"]] = answer


def asked_titles(data, fold):
    return [i for i in range(len(data["ts"])) if i % FOLDS == fold]


def statistics(values):
    if not len(values):
        return "| | | "
    return f"| {np.mean(values):.3f} | {np.median(values):.3f} | {np.percentile(values, 90):.3f} "


def end_errors(reactions, positions_of):
    errors = []
    for reaction in reactions:
        positions = positions_of(reaction)
        if positions is not None:
            errors.extend(abs(distances(positions, reaction.ends) - distances(reaction.ts.positions, reaction.ends)))
    return errors


def centre_errors(reactions, positions_of):
    errors = []
    for reaction in reactions:
        pairs = list(itertools.combinations(reaction.centre, 2))
        positions = positions_of(reaction)
        errors.extend(abs(distances(positions, pairs) - distances(reaction.ts.positions, pairs)))
    return errors


def strained(reaction, positions):
    """Lasting bonds off by more than 20 %, and pairs of atoms nearer than 0.7 angstrom."""
    guess, true = distances(positions, reaction.lasting), distances(reaction.ts.positions, reaction.lasting)
    pairs = list(itertools.combinations(range(len(positions)), 2))
    return bool((abs(guess / true - 1) > 0.2).any()), bool((distances(positions, pairs) < 0.7).any())


REMOVE = "REMOVE"  # refused records, which would be asked last

WAYS = [  # what is varied: options of "db add", of "react"
    ("as it is", [], []),
    ("stage full only", [], ["--stages", "full"]),
    ("stage sigma only", [], ["--stages", "sigma"]),
    ("stage lengths only", [], ["--stages", "lengths"]),
    ("orders as drawn", ["--orders", "drawn"], ["--orders", "drawn"]),
    ("orders of the mapped SMILES", ["--orders", "smiles"], ["--orders", "smiles"]),
    ("start: reactant", [], ["--start", "reactant"]),
    ("start: product", [], ["--start", "product"]),
    ("start: the true transition state", [], ["--start", "TRUE"]),
    ("unguarded database (--force)", ["--force"], []),
    ("without the refused records", [REMOVE], []),
    ("placement library", [], ["--placement", "library"]),
    ("relax: none", [], ["--relax", "none"]),
    ("relax: uff", [], ["--relax", "uff"]),
]
XTB = ("relax: xtb", [], ["--relax", "xtb"])
WORST = 10


def row(label, reactions, positions_of):
    ends = end_errors(reactions, positions_of)
    return f"| {label} | {len(reactions)} {statistics(ends)}{statistics(centre_errors(reactions, positions_of))}" + (
        statistics([rmsd(positions_of(r), r.ts.positions) for r in reactions]) + "|"
    )


HEADER = (
    "| | reactions | made and broken bonds | | | pairs of the centre | | | all atoms (RMSD) | | |\n"
    "| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |\n"
    "| | | mean | median | 90 % | mean | median | 90 % | mean | median | 90 % |"
)


def matched(answers, reactions):
    return [r for r in reactions if answers.by_title.get(r.title, {}).get("outcome") in ("exact", "partial")]


def asked(answers, reactions):
    return [r for r in reactions if r.title in answers.by_title]


def in_stage(answers, reactions, stage):
    return [r for r in asked(answers, reactions) if answers.by_title[r.title]["stage"] == stage]


def positions_in(answers):
    return lambda reaction: answers.by_title[reaction.title]["positions"]


def coverage_table(ways, reactions):
    print("| way | answers | full | sigma | lengths | matched | lasting bonds off by 20 % | clashes |")
    print("| --- | --- | --- | --- | --- | --- | --- | --- |")
    for label, answers in ways:
        stages = [len(in_stage(answers, reactions, s)) for s in ("full", "sigma", "lengths")]
        found = asked(answers, reactions)
        faults = [strained(r, positions_in(answers)(r)) for r in found]
        share = 100 * len(matched(answers, reactions)) / len(reactions)
        print(
            f"| {label} | {len(found)} | {stages[0]} | {stages[1]} | {stages[2]} | {share:.1f} % "
            f"| {sum(b for b, _ in faults)} | {sum(c for _, c in faults)} |"
        )


def error_table(ways, reactions):
    print(HEADER)
    print(row("geometry of the reactant", reactions, lambda r: r.reactant.positions))
    print(row("mean of reactant and product", reactions, lambda r: r.mean()))
    for label, answers in ways:
        print(row(label + ", matched", matched(answers, reactions), positions_in(answers)))
        rest = [r for r in asked(answers, reactions) if r not in matched(answers, reactions)]
        if rest:
            print(row(label + ", unmatched", rest, positions_in(answers)))


def confidence_table(answers, reactions):
    print("| confidence | reactions | mean | median | 90 % |\n| --- | --- | --- | --- | --- |")
    for name in ("high", "low"):
        chosen = [r for r in asked(answers, reactions) if answers.by_title[r.title]["confidence"] == name]
        print(f"| {name} | {len(chosen)} {statistics(end_errors(chosen, positions_in(answers)))}|")


def error_sample(answers, reactions):
    rows = []
    for index, reaction in enumerate(reactions):
        terms = answers.by_title.get(reaction.title, {}).get("errorTerms")
        if terms:
            error = np.mean(end_errors([reaction], positions_in(answers)))
            rows.append((index % FOLDS, terms, error))
    return error_model.Sample(rows)


def expected_error_table(answers, reactions, picture):
    """By coefficients of the other folds, not by those of the program, which know these reactions."""
    sample = error_sample(answers, reactions)
    expected = error_model.crossvalidated(sample)
    print("| tenth | reactions | expected | true, mean | true, median |\n| --- | --- | --- | --- | --- |")
    for tenth, (count, *values) in enumerate(error_model.tenths(expected, sample.errors), 1):
        print(f"| {tenth} | {count} | " + " | ".join(f"{value:.3f}" for value in values) + " |")
    matched_ones = sample.terms[:, sample.names.index("unmatched")] == 0
    both = [error_model.rank_correlation(expected[c], sample.errors[c]) for c in (..., matched_ones)]
    print(f"\nRank correlation of expected and true errors: {both[0]:.2f}, of matched ones {both[1]:.2f}.")
    if picture:
        picture.write_text(error_model.plot(expected, sample.errors))
        print(f"\n![expected and true errors by tenth]({picture.name})")


def difference(label, chosen, numbers, weights):
    """The change of a weighted mean, and the interval that holds 95 % of bootstrap draws."""
    old, new, weights = (np.array([values[r.title] for r in chosen]) for values in (*numbers, weights))
    draws = np.random.default_rng(1).integers(0, len(chosen), (DRAWS, len(chosen)))
    drawn = ((new - old) * weights)[draws].sum(1) / weights[draws].sum(1)
    low, high = np.percentile(drawn, [2.5, 97.5])
    before, after = ((values * weights).sum() / weights.sum() for values in (old, new))
    print(f"| {label} | {len(chosen)} | {before:.3f} | {after:.3f} | {after - before:+.3f} | {low:+.3f} to {high:+.3f} |")


def baseline_table(answers, other, reactions):
    print("| | reactions | before | now | change | 95 % interval |\n| --- | --- | --- | --- | --- | --- |")
    both = [r for r in asked(answers, reactions) if r.title in other.by_title]
    rest = [r for r in both if r not in matched(answers, reactions)]
    groups = (("all", both), ("matched", matched(answers, both)), ("unmatched", rest))
    counts, ones = {r.title: len(r.ends) for r in both}, {r.title: 1 for r in both}
    ends, shapes = [], []
    for side in (other, answers):
        ends.append({r.title: np.mean(end_errors([r], positions_in(side))) for r in both if r.ends})
        shapes.append({r.title: rmsd(positions_in(side)(r), r.ts.positions) for r in both})
    for label, group in groups:
        difference(f"made and broken bonds, {label}", [r for r in group if r.ends], ends, counts)
    for label, group in groups:
        difference(f"RMSD, {label}", group, shapes, ones)


def worst_table(answers, reactions):
    print("| reaction | error | stage | from | bonds: predicted, true |\n| --- | --- | --- | --- | --- |")

    def error(reaction):
        return max(end_errors([reaction], positions_in(answers)))

    for reaction in sorted(matched(answers, reactions), key=error, reverse=True)[:WORST]:
        answer = answers.by_title[reaction.title]
        guess = distances(answer["positions"], reaction.ends)
        true = distances(reaction.ts.positions, reaction.ends)
        bonds = ", ".join(
            f"{reaction.symbols[a]}{a + 1}-{reaction.symbols[b]}{b + 1} {g:.2f}, {t:.2f}"
            for (a, b), g, t in zip(reaction.ends, guess, true)
        )
        print(f"| {reaction.title} | {error(reaction):.2f} | {answer['stage']} | {answer['match']} | {bonds} |")


def tables(ways, reactions, picture=None, baseline=None):
    answers = ways[0][1]
    with contextlib.redirect_stdout(io.StringIO()) as text:
        for title, table in (
            ("Answers", lambda: coverage_table(ways, reactions)),
            ("Errors, in angstrom", lambda: error_table(ways, reactions)),
            ("Confidence, as it is", lambda: confidence_table(answers, reactions)),
            ("Expected error, as it is", lambda: expected_error_table(answers, reactions, picture)),
            ("The worst, as it is", lambda: worst_table(answers, reactions)),
        ):
            print(f"\n### {title}\n")
            table()
        if baseline:
            print("\n### Beside the baseline\n")
            baseline_table(answers, baseline, reactions)
        print(f"\nRecords that the guards of the database refused, over the {FOLDS} folds: {answers.refused}.")
    return text.getvalue()


def put_into(document, text, mark="measured"):
    """Replaces what stands between the marks, which each have a line of their own."""
    before, _, rest = document.read_text().partition(f"<!-- {mark} -->\n")
    _, _, after = rest.partition(f"<!-- /{mark} -->\n")
    document.write_text(f"{before}<!-- {mark} -->\n{text}<!-- /{mark} -->\n{after}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program")
    parser.add_argument("data", type=pathlib.Path)
    parser.add_argument("--xtb", action="store_true", help="relax by xtb too (takes its time)")
    parser.add_argument("--document", type=pathlib.Path, help="write the tables into it")
    parser.add_argument("--baseline", metavar="PROGRAM", help="another build, to compare with")
    parser.add_argument("--coefficients", type=pathlib.Path, metavar="HPP",
                        help="write the coefficients of the expected error into this header, and end")
    options = parser.parse_args()
    data = {name: records(options.data / f"{name}.sdf") for name in ("reactants", "products", "ts")}
    reactions = [Reaction(*map(Side, sides)) for sides in zip(data["reactants"], data["products"], data["ts"])]
    if options.coefficients:
        answers = Answers(options.program, data, [], [])
        error_model.write_coefficients(options.coefficients, error_sample(answers, reactions))
        return
    baseline = Answers(options.baseline, data, [], []) if options.baseline else None
    ways = [(label, Answers(options.program, data, add, ask)) for label, add, ask in WAYS + [XTB] * options.xtb]
    if options.document:
        picture = options.document.with_name("quality-expected-error.svg")
        put_into(options.document, tables(ways, reactions, picture, baseline))
    else:
        print(tables(ways, reactions, baseline=baseline))


if __name__ == "__main__":
    main()
