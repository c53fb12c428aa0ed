#!/usr/bin/env python3
"""Gathers what Callgrind counted for each case of a family.

usage: bench/instructions.py OUT.json CALLGRIND_FILE...
"""
import json
import pathlib
import re
import sys


def counted(path):
    """The case, with its number of items, and the instructions of doing it once."""
    text = path.read_text()
    trigger = re.search(r"^desc: Trigger: Client Request: (.*)=(\d+)$", text, re.MULTILINE)
    total = re.search(r"^totals: (\d+)", text, re.MULTILINE)
    return (trigger[1], int(total[1]) / int(trigger[2])) if trigger else None


def main():
    cases = filter(None, (counted(pathlib.Path(path)) for path in sys.argv[2:]))
    rows = [{"name": name, "runs": [count]} for name, count in sorted(cases)]
    pathlib.Path(sys.argv[1]).write_text(json.dumps(rows))


if __name__ == "__main__":
    main()
