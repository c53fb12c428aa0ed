"""Whatever somebody has as a side of a reaction, as a `Structure`."""

from __future__ import annotations

import os
from typing import Any

from ._convert import structure_of_ase, structure_of_rdkit
from ._errors import InputError
from ._structure import Structure, read


def structure(side: Any) -> Structure:
    """A structure out of a `Structure`, an ``ase.Atoms``, an RDKit ``Mol``, arrays or a path."""
    if isinstance(side, Structure):
        return side
    if isinstance(side, (str, os.PathLike)):
        return _only_record(side)
    if isinstance(side, tuple):
        return Structure(*side)
    if hasattr(side, "get_atomic_numbers"):
        return structure_of_ase(side)
    if hasattr(side, "GetConformer"):
        return structure_of_rdkit(side)
    raise TypeError(f"a {type(side).__name__} is no structure; give a Structure, an ase.Atoms, an "
                    "RDKit Mol, a tuple (numbers, positions[, bonds]) or a path")


def _only_record(path: str | os.PathLike[str]) -> Structure:
    records = read(path)
    if len(records) == 1:
        return records[0]
    error = InputError(f"{os.fspath(path)}: has {len(records)} records; take one of "
                       "saddlefit.read(path), or give them all to react_many")
    error.file = os.fspath(path)
    raise error
