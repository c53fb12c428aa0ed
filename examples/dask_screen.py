"""The screen of screen.py on the workers of Dask, here two processes of this machine.

usage: python dask_screen.py REACTANTS PRODUCTS DATABASE TABLE.csv

Client("scheduler:8786") in place of the LocalCluster takes workers elsewhere; the database has to
be where they find it under the same path. Structures and guesses go over the network as they are.
"""

import csv
import sys
from pathlib import Path

from distributed import Client, LocalCluster

import saddlefit


def ask(pair, number, path):
    """Each worker opens the database once."""
    if path not in opened:
        opened[path] = saddlefit.Database(path)
    return saddlefit.react(*pair, opened[path])


opened = {}


def main(reactants, products, path, table):
    sides = list(zip(saddlefit.read(reactants), saddlefit.read(products)))
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        futures = client.map(ask, sides, range(len(sides)), path=str(Path(path).resolve()))
        guesses = [(pair[0].title, guess) for pair, guess in zip(sides, client.gather(futures))]
    guesses.sort(key=lambda entry: entry[1].expected_error or 0.0)
    with open(table, "w", newline="") as file:
        rows = csv.writer(file)
        rows.writerow(["reaction", "outcome", "match", "expected error", "longest bond"])
        for title, guess in guesses:
            longest = max(change.length for change in guess.changes)
            rows.writerow([title, guess.outcome, guess.match, guess.expected_error,
                           f"{longest:.3f}"])
    print(f"{len(guesses)} guesses in {table}")


if __name__ == "__main__":
    main(*sys.argv[1:])
