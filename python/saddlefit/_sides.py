"""Whatever somebody has as a side of a reaction."""

from __future__ import annotations

import os
import re
from typing import Any, Union

from . import _saddlefit
from ._convert import structure_of_ase, structure_of_rdkit
from ._errors import InputError
from ._structure import Structure, read

#: Atoms, bonds, branches, rings, and the arrows of a reaction. No file's extension is among these.
_SMILES = re.compile(r"(\[[^\[\]\s]+\]|Br|Cl|[BCNOPSFIbcnops]|%\d\d|[-=#$:/\\.()\d~*>])+")


class Smiles(str):
    """A text that is one."""


#: A structure, molecules that are to be placed together, or what is still to be embedded.
Side = Union[Structure, "list[Structure]", Smiles]


def smiles_in(given: Any) -> Smiles | None:
    """A file of the same name goes before; behind a reaction's SMILES its title may stand."""
    if not isinstance(given, str) or os.path.exists(given):
        return None
    text, _, title = given.strip().partition(" ")
    is_smiles = _SMILES.fullmatch(text) and (text.count(">") == 2 if title else True)
    return Smiles(given.strip()) if is_smiles else None


def side(given: Any) -> Side:
    """What can go to another process."""
    if isinstance(given, list):
        return _together(given)
    return smiles_in(given) or structure(given)


def sides(reactant: Any, product: Any, geometry: Structure | None = None,
          number: int = 1) -> _saddlefit.Sides:
    """Both of a reaction; of a reaction SMILES there is no product."""
    before = side(reactant)
    core = geometry._core if geometry is not None else None
    if isinstance(before, Smiles) and ">" in before:
        if product is not None:
            raise ValueError(f"{before}: a reaction SMILES is both sides; give it without a product, "
                             "and name the database by database=")
        return _saddlefit.Sides(before, core, number)
    if product is None:
        raise TypeError("the product is missing; only a reaction SMILES stands for both sides")
    after = side(product)
    if isinstance(before, Smiles) and isinstance(after, Smiles):
        return _saddlefit.Sides(f"{before}>>{after}", core, number)
    if isinstance(before, Smiles) or isinstance(after, Smiles):
        raise ValueError("one side is a SMILES and the other has coordinates; give both as SMILES, "
                         "or both as structures")
    return _saddlefit.Sides(_core(before), _core(after), core, number)


def structure(given: Any) -> Structure:
    """A structure out of a `Structure`, an ``ase.Atoms``, an RDKit ``Mol``, arrays or a path."""
    if isinstance(given, Structure):
        return given
    if smiles_in(given):
        raise InputError(f"{given}: is a SMILES, and what is asked for takes coordinates; give a "
                         "structure in space")
    if isinstance(given, (str, os.PathLike)):
        return _only_record(given)
    if isinstance(given, tuple):
        return Structure(*given)
    if hasattr(given, "get_atomic_numbers"):
        return structure_of_ase(given)
    if hasattr(given, "GetConformer"):
        return structure_of_rdkit(given)
    raise TypeError(f"a {type(given).__name__} is no structure; give a Structure, an ase.Atoms, an "
                    "RDKit Mol, a tuple (numbers, positions[, bonds]) or a path")


def _core(side: Structure | list[Structure]) -> Any:
    return [one._core for one in side] if isinstance(side, list) else side._core


def _together(molecules: list[Any]) -> list[Structure] | Smiles:
    if molecules and all(smiles_in(molecule) for molecule in molecules):
        return Smiles(".".join(molecules))
    joined: list[Structure] = []
    for molecule in molecules:
        is_file = isinstance(molecule, (str, os.PathLike)) and not smiles_in(molecule)
        joined += read(molecule) if is_file else [structure(molecule)]
    return joined


def _only_record(path: str | os.PathLike[str]) -> Structure:
    records = read(path)
    if len(records) == 1:
        return records[0]
    error = InputError(f"{os.fspath(path)}: has {len(records)} records; take one of "
                       "saddlefit.read(path), or give them all to react_many")
    error.file = os.fspath(path)
    raise error
