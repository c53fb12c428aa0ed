#!/usr/bin/env python3
"""Turns the measurements of scripts/bench into the tables and plots of docs/performance.md.

usage: bench/report.py RESULTS_FOLDER DOCUMENT

RESULTS_FOLDER holds a JSON file per family. The part of the document between its two markers is
replaced, and a plot performance-FAMILY.svg is written beside it for each family.
"""
import datetime
import json
import math
import os
import pathlib
import platform
import statistics
import subprocess
import sys
from collections import defaultdict

OURS = "saddlefit"
BEGIN, END = "<!-- measured -->", "<!-- /measured -->"
TO_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}
TITLES = {
    "mapping": "Mapping", "database": "Database", "search": "Whole search",
    "superposition": "Superposition", "stereo": "Ranking and R/S codes",
    "perception": "Bonds from coordinates", "constraints": "Constraints",
    "template look-up": "Template look-up", "program": "The program"}
SHARES = ("above_optimum", "same_number_of_bonds", "mapping", "superposition")
COLOURS = ["#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#8c564b", "#e377c2", "#17becf",
           "#7f7f7f", "#bcbd22"]


class Case:
    """One kind of work: the repetitions' seconds by side and size, and what else was counted."""

    def __init__(self):
        self.runs = defaultdict(dict)
        self.counters = defaultdict(dict)

    def peers(self):
        return [side for side in self.runs if side != OURS] or [None]

    def best(self, side):
        return {size: min(runs) for size, runs in self.runs[side].items()}

    def ratio(self, peer, size):
        """How many times longer the peer takes: best against best, and the quartiles of either side
        set against the other's far ones."""
        ours, theirs = self.runs[OURS][size], self.runs[peer][size]
        (low, high), (their_low, their_high) = quartiles(ours), quartiles(theirs)
        return min(theirs) / min(ours), their_low / high, their_high / low


def quartiles(runs):
    if len(runs) < 2:
        return runs[0], runs[0]
    first, _, third = statistics.quantiles(runs, n=4, method="inclusive")
    return first, third


def read_google_benchmark(results):
    """Seconds per item. Processor time, for others may use the machine too."""
    runs = defaultdict(list)
    for run in sorted(results["benchmarks"], key=lambda run: run["family_index"]):
        if run["run_type"] == "iteration":
            runs[run["run_name"]].append(run)
    for name, repetitions in runs.items():
        times = [run["cpu_time"] * TO_SECONDS[run["time_unit"]] / run["items"]
                 for run in repetitions]
        counters = {key: statistics.median(run[key] for run in repetitions)
                    for key in SHARES if key in repetitions[0]}
        yield name, times, counters


def read(folder):
    families, context = {}, {}
    for path in sorted(pathlib.Path(folder).glob("*.json")):
        results = json.loads(path.read_text())
        if isinstance(results, dict):
            context.update(results["context"])
            rows = read_google_benchmark(results)
        else:
            rows = [(row["name"], row["seconds"], {}) for row in results]
        for name, seconds, counters in rows:
            # Options such as "real_time" follow the side.
            family, case, size, side = name.split("/")[:4]
            entry = families.setdefault(family, {}).setdefault(case, Case())
            entry.seconds[side][int(size)] = seconds
            entry.counters[int(size)].update(counters)
    return families, context


def read(folder):
    """The times, the counted instructions, each a Case by family and name, and the machine."""
    times, instructions, context = {}, {}, {}
    for path in sorted(pathlib.Path(folder).glob("*.json")):
        results = json.loads(path.read_text())
        if isinstance(results, dict):
            context.update(results["context"])
            rows = read_google_benchmark(results)
        else:
            rows = [(row["name"], row["runs"], row.get("counters", {})) for row in results]
        families = instructions if path.stem.endswith(".instructions") else times
        for name, runs, counters in rows:
            family, case, size, side = name.split("/")[:4]
            entry = families.setdefault(family, {}).setdefault(case, Case())
            entry.runs[side][int(size)] = runs
            entry.counters[int(size)].update(counters)
    return times, instructions, context


def exponent(points):
    """Slope of a straight line through the logarithms; None for fewer than three sizes."""
    if len(points) < 3:
        return None
    x, y = ([math.log(value) for value in column] for column in zip(*sorted(points.items())))
    return statistics.linear_regression(x, y).slope


def in_units(seconds):
    for unit, name in ((1, "s"), (1e-3, "ms"), (1e-6, "us")):
        if seconds >= unit:
            return f"{seconds / unit:.3g} {name}"
    return f"{seconds / 1e-9:.3g} ns"


def in_short(ratio):
    return f"{ratio:.2g}" if ratio < 10 else f"{ratio:.0f}"


def row(*cells):
    return "| " + " | ".join(cells) + " |"


def in_thousands(count):
    return f"{count:,.0f}"


def comparison(case, peer, size, unit):
    ours = case.best(OURS).get(size)
    if ours is None:
        return ""
    if peer is None or size not in case.runs[peer]:
        return f"({unit(ours)})"
    ratio, low, high = case.ratio(peer, size)
    spread = f" [{in_short(low)}-{in_short(high)}]" if len(case.runs[OURS][size]) > 1 else ""
    return f"**{in_short(ratio)}**{spread} ({unit(ours)})"


def comparison_table(cases, unit):
    sizes = sorted({size for case in cases.values() for size in case.runs[OURS]})
    lines = [row("case", "peer", *(f"{size:,}" for size in sizes), "growth", "peer's growth"),
             row(*["---"] * (len(sizes) + 4))]
    for name, case in cases.items():
        for peer in case.peers():
            growth = [exponent(case.best(side)) if side else None for side in (OURS, peer)]
            lines.append(row(name, peer or "-",
                             *(comparison(case, peer, size, unit) for size in sizes),
                             *("-" if power is None else f"{power:.2f}" for power in growth)))
    return lines


def counted(key, value):
    return f"{value:.0f}" if key.endswith("_MB") else f"{100 * value:.1f} %"


def counters_table(cases):
    """Shares of the time, and the like, where there are any."""
    keys = sorted({key for case in cases.values() for values in case.counters.values()
                   for key in values})
    if not keys:
        return []
    lines = ["", row("case", "size", *(key.replace("_", " ") for key in keys)),
             row(*["---"] * (len(keys) + 2))]
    for name, case in cases.items():
        for size, values in sorted(case.counters.items()):
            if values:
                lines.append(row(name, f"{size:,}", *(counted(key, values[key]) if key in values else "" for key in keys)))
    return lines


def nice_powers(values):
    low, high = min(map(math.log10, values)), max(map(math.log10, values))
    return math.floor(low), math.ceil(high + 1e-9)


def plot(title, cases):
    """Both axes logarithmic; solid lines ours, dashed ones the peer's."""
    width, height, left, top, legend = 460, 340, 70, 30, 330
    points = [point for case in cases.values() for side in case.runs
              for point in case.best(side).items()]
    (x0, x1), (y0, y1) = (nice_powers(column) for column in zip(*points))
    x1, y1 = max(x1, x0 + 1), max(y1, y0 + 1)

    def at(size, seconds):
        return (left + width * (math.log10(size) - x0) / (x1 - x0),
                top + height * (y1 - math.log10(seconds)) / (y1 - y0))

    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + legend}" '
           f'height="{top + height + 50}" font-family="sans-serif" font-size="12">',
           '<rect width="100%" height="100%" fill="white"/>',
           f'<text x="{left}" y="18" font-size="14">{title}: time over size '
           '(solid saddlefit, dashed peer)</text>']
    for power in range(x0, x1 + 1):
        x, _ = at(10 ** power, 10 ** y0)
        svg.append(f'<path d="M{x:.1f} {top}V{top + height}" stroke="#ddd"/>'
                   f'<text x="{x:.1f}" y="{top + height + 18}" text-anchor="middle">'
                   f'{10 ** power:,}</text>')
    for power in range(y0, y1 + 1):
        _, y = at(10 ** x0, 10.0 ** power)
        svg.append(f'<path d="M{left} {y:.1f}H{left + width}" stroke="#ddd"/>'
                   f'<text x="{left - 6}" y="{y + 4:.1f}" text-anchor="end">'
                   f'{in_units(10.0 ** power * 1.000001)}</text>')
    for i, (name, case) in enumerate(cases.items()):
        colour = COLOURS[i % len(COLOURS)]
        for side in case.runs:
            line = " ".join("%.1f,%.1f" % at(*point) for point in sorted(case.best(side).items()))
            dashes = "" if side == OURS else ' stroke-dasharray="5 4"'
            svg.append(f'<polyline points="{line}" fill="none" stroke="{colour}" '
                       f'stroke-width="1.8"{dashes}/>')
        y = top + 14 + 20 * i
        peers = ", ".join(filter(None, case.peers()))
        peer = f" ({peers})" if peers else ""
        svg.append(f'<path d="M{left + width + 14} {y - 4}h24" stroke="{colour}" '
                   f'stroke-width="3"/><text x="{left + width + 44}" y="{y}">{name}{peer}</text>')
    return "\n".join(svg + ["</svg>", ""])


def machine(context):
    cpu = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo")
                if line.startswith("model name")), platform.machine())
    compiler = subprocess.run([os.environ.get("CXX", "c++"), "--version"], capture_output=True,
                              text=True, check=True).stdout.split("\n")[0]
    load = ", ".join(f"{value:.1f}" for value in context["load_avg"])
    return (f"Measured on {datetime.date.today()}: {cpu}, {context['num_cpus']} cores; {compiler}; "
            f"release build; load average meanwhile {load}.")


def main():
    results, document = sys.argv[1], pathlib.Path(sys.argv[2])
    families, instructions, context = read(results)
    lines = [BEGIN, machine(context), ""]
    for family, title in TITLES.items():
        if family not in families:
            continue
        cases = families[family]
        picture = f"performance-{family.replace(' ', '-')}.svg"
        (document.parent / picture).write_text(plot(title, cases))
        lines += [f"### {title}", "", *comparison_table(cases, in_units),
                  *counters_table(cases), "",
                  f"![{title}: time over size]({picture})", ""]
        if family in instructions:
            lines += ["Instructions:", "",
                      *comparison_table(instructions[family], in_thousands), ""]
    text = document.read_text()
    before, after = text.split(BEGIN)[0], text.split(END)[1]
    document.write_text(before + "\n".join(lines + [END]) + after)
    print("\n".join(line for line in lines if not line.startswith(("!", "<"))))


if __name__ == "__main__":
    main()
