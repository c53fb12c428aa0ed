"""Makes the database that the package holds out of the records of the collection.

usage: scripts/make_collection.py RECORDS DATABASE     (with the module that was just built on PYTHONPATH)
"""

import os
import sys
from pathlib import Path

import saddlefit

# As scripts/make-collection says it.
FACTS = {"program": "xtb 6.5.1, by its library", "verified": "one imaginary mode; both ends, fine descents",
         "source": "saddlefit, data/collection", "licence": "CC0-1.0", "date": "2026-11"}

records, path = Path(sys.argv[1]), Path(sys.argv[2])
path.parent.mkdir(parents=True, exist_ok=True)
for old in (path, Path(f"{path}.jsonl")):
    old.unlink(missing_ok=True)
files = [saddlefit.read(os.fspath(records / f"{kind}.sdf")) for kind in ("reactants", "products", "ts")]
with saddlefit.Database(path, create=True) as database:
    for sides in zip(*files):
        database.add(*sides, force=True, map="order", facts=FACTS)
