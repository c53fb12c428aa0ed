"""A screen: guesses for many reactions, the surest first, each with a file to start from.

usage: python screen.py REACTANTS PRODUCTS DATABASE TABLE.csv
"""

# %% What to ask
import csv
import sys
from pathlib import Path

import saddlefit

reactants, products, database, table = sys.argv[1:]
sides = zip(saddlefit.read(reactants), saddlefit.read(products))

# %% Ask, two at a time; a failure stands in its place
results = list(saddlefit.react_many(sides, database, jobs=2, errors="yield"))

# %% The surest first; what is stored as it is has no expected error
titled = list(zip((record.title for record in saddlefit.read(reactants)), results))
guesses = [(title, guess) for title, guess in titled if isinstance(guess, saddlefit.Guess)]
guesses.sort(key=lambda entry: entry[1].expected_error or 0.0)

# %% A row each, and a structure
folder = Path(table).with_suffix("")
folder.mkdir(exist_ok=True)
with open(table, "w", newline="") as file:
    rows = csv.writer(file)
    rows.writerow(["reaction", "outcome", "match", "expected error", "longest bond"])
    for title, guess in guesses:
        guess.write(folder / f"{title}.xyz")
        longest = max(change.length for change in guess.changes)
        rows.writerow([title, guess.outcome, guess.match, guess.expected_error, f"{longest:.3f}"])

# %% What went wrong
for title, error in titled:
    if isinstance(error, saddlefit.Error):
        print(f"{title}: {error}", file=sys.stderr)
print(f"{len(guesses)} guesses in {table}")
