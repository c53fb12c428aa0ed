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
    "template look-up": "Template look-up"}
COLOURS = ["#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#8c564b", "#e377c2", "#17becf",
           "#7f7f7f", "#bcbd22"]


class Case:
    """One kind of work: seconds by side and size, and what else was counted."""

    def __init__(self):
        self.seconds = defaultdict(dict)
        self.counters = defaultdict(dict)

    def peer(self):
        return next((side for side in self.seconds if side != OURS), None)

    def ratio(self, size):
        """How many times longer the peer takes."""
        return self.seconds[self.peer()][size] / self.seconds[OURS][size]


def read_google_benchmark(results):
    """The best of the repetitions, per item. Processor time, for others may use the machine too."""
    runs = defaultdict(list)
    for run in sorted(results["benchmarks"], key=lambda run: run["family_index"]):
        if run["run_type"] == "iteration":
            runs[run["run_name"]].append(run)
    for name, repetitions in runs.items():
        times = [run["cpu_time"] * TO_SECONDS[run["time_unit"]] / run["items"]
                 for run in repetitions]
        counters = {key: statistics.median(run[key] for run in repetitions)
                    for key in ("above_optimum", "scan", "mapping", "superposition")
                    if key in repetitions[0]}
        yield name, min(times), counters


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


def times_table(cases):
    sizes = sorted({size for case in cases.values() for size in case.seconds[OURS]})
    lines = [row("case", "peer", *(f"{size:,}" for size in sizes), "growth", "peer's growth"),
             row(*["---"] * (len(sizes) + 4))]
    for name, case in cases.items():
        peer = case.peer()
        cells = []
        for size in sizes:
            ours = case.seconds[OURS].get(size)
            if ours is None:
                cells.append("")
            elif peer and size in case.seconds[peer]:
                cells.append(f"**{in_short(case.ratio(size))}** ({in_units(ours)})")
            else:
                cells.append(f"({in_units(ours)})")
        growth = [exponent(case.seconds[side]) if side else None for side in (OURS, peer)]
        lines.append(row(name, peer or "-", *cells,
                         *("-" if power is None else f"{power:.2f}" for power in growth)))
    return lines


def counters_table(cases):
    """Shares of the time, and the like, where there are any."""
    keys = sorted({key for case in cases.values() for counted in case.counters.values()
                   for key in counted})
    if not keys:
        return []
    lines = ["", row("case", "size", *(key.replace("_", " ") for key in keys)),
             row(*["---"] * (len(keys) + 2))]
    for name, case in cases.items():
        for size, counted in sorted(case.counters.items()):
            if counted:
                lines.append(row(name, f"{size:,}", *(f"{100 * counted[key]:.1f} %" for key in keys)))
    return lines


def nice_powers(values):
    low, high = min(map(math.log10, values)), max(map(math.log10, values))
    return math.floor(low), math.ceil(high + 1e-9)


def plot(title, cases):
    """Both axes logarithmic; solid lines ours, dashed ones the peer's."""
    width, height, left, top, legend = 460, 340, 70, 30, 330
    points = [(size, seconds) for case in cases.values() for side in case.seconds.values()
              for size, seconds in side.items()]
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
        for side, seconds in case.seconds.items():
            line = " ".join("%.1f,%.1f" % at(*point) for point in sorted(seconds.items()))
            dashes = "" if side == OURS else ' stroke-dasharray="5 4"'
            svg.append(f'<polyline points="{line}" fill="none" stroke="{colour}" '
                       f'stroke-width="1.8"{dashes}/>')
        y = top + 14 + 20 * i
        peer = f" ({case.peer()})" if case.peer() else ""
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
    families, context = read(results)
    lines = [BEGIN, machine(context), ""]
    for family, title in TITLES.items():
        if family not in families:
            continue
        cases = families[family]
        picture = f"performance-{family.replace(' ', '-')}.svg"
        (document.parent / picture).write_text(plot(title, cases))
        lines += [f"### {title}", "", *times_table(cases), *counters_table(cases), "",
                  f"![{title}: time over size]({picture})", ""]
    text = document.read_text()
    before, after = text.split(BEGIN)[0], text.split(END)[1]
    document.write_text(before + "\n".join(lines + [END]) + after)
    print("\n".join(line for line in lines if not line.startswith(("!", "<"))))


if __name__ == "__main__":
    main()
