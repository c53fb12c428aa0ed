"""Asking for the transition states of reactions."""

from __future__ import annotations

import contextlib
import os
import threading
from collections.abc import Iterator
from typing import Any

from . import _saddlefit
from ._database import Database, opened
from ._errors import RefusedError
from ._guess import Guess
from ._sides import sides, structure

#: Whoever has it searches for a saddle point: libxtb does not work in two threads at once.
_saddle_search = threading.Lock()

#: What `start` may be but for a structure.
_STARTS = ("reactant", "product", "mean")


def react(reactant: Any, product: Any = None,
          database: Database | str | os.PathLike[str] | None = None, **options: Any) -> Guess:
    """Fit a stored transition state onto a reaction.

    Parameters
    ----------
    reactant, product : side
        A `Structure`, an ``ase.Atoms``, an RDKit ``Mol`` with a conformer, arrays ``(numbers,
        positions[, bonds])``, the path of a file with one record, or a SMILES. A list of these are
        molecules that stand anywhere and are placed together. A reaction SMILES, ``"A>>B"``, is
        both sides, and has no product beside it.
    database : Database or path-like, optional
        Whoever asks for many reactions opens a `Database` once. By default the one that
        `Database` takes by default.
    **options
        What the program ``saddlefit react`` takes under the same names:

        start : {'mean', 'reactant', 'product'} or side
            Where the coordinates begin.
        orders : {'harmonised', 'drawn', 'smiles'}
            Bond orders: brought to one way of drawing, as drawn, or by a data field.
        bonds : {'openbabel', 'saddlefit'}
            Who finds the bonds of sides that name none.
        map : {'auto', 'order', 'numbers'}
            How the atoms of both sides correspond.
        map_bonds : int
            Bonds broken and formed together, up to which a map is looked for; 8.
        map_time : float
            Seconds for that; 20.
        stages : sequence of {'full', 'sigma', 'lengths'}
            Ways of asking, one after the other; all three.
        placement : {'direction', 'library'}
            How the centre is placed on a match that runs the other way.
        rivals : int
            How many of the best matches are looked at; 3.
        guesses : int
            Structures to make, up to three; 1.
        relax : {'internal', 'uff', 'xtb', 'none'}
            How the rest follows the centre.
        xtb_method : {'gfn2', 'gfn1', 'gfn0', 'gfnff'}
            For ``relax='xtb'``.
        xtb_time : float
            Seconds for one run of xtb; 300.
        saddle : {'gfn2', 'gfn1', 'gfnff'} or str
            Search for the saddle point from the guess and verify it; by default not. These take
            libxtb, which does not work in two threads at once. A program and its method, as
            ``'psi4:hf/sto-3g'``, is run for each gradient: ``orca``, ``gaussian``, ``psi4``,
            ``nwchem``, ``mopac``, or any ``command``.
        gradient_time : float
            Seconds for one gradient of such a program; 600.
        attempts : int
            Searches for one saddle point; 3.
        steps : {2, 1}
            Saddle points that the reaction may go over.
        check : {'quick', 'fine'}
            How the ends of a saddle point are come to.
        charge : int
            Of the molecules; by the records.
        uhf : int
            Unpaired electrons; 0, or 1 for an odd number of electrons.

    Returns
    -------
    Guess
        The whole molecule with its reaction centre on the stored transition state.

    Raises
    ------
    InputError
        If the sides make no reaction: other atoms, no bond that changes, too many of them.
    DatabaseError
        If the database is damaged.
    ProgramError
        If a program that is to relax the structure is not there or fails.
    RefusedError
        If another thread searches for a saddle point, and this one is to do so, too.
    TypeError, ValueError
        For an option that there is not, or a value that it does not take.
    KeyboardInterrupt
        On Ctrl-C, at any time.

    Examples
    --------
    >>> reactants, products = saddlefit.read("reactants.sdf"), saddlefit.read("products.sdf")
    >>> guess = saddlefit.react(reactants[0], products[0], "reactions.db")
    >>> guess.outcome, guess.match
    ('partial', 'sn2-cl-ch3cl')
    >>> [round(change.length, 2) for change in guess.changes]
    [2.21, 2.21]
    """
    return answered(reactant, product, opened(database), options)


def answered(reactant: Any, product: Any, database: Database, options: dict[str, Any],
             number: int = 1, stop: Any = None) -> Guess:
    """A reaction among others, which whoever sets the first byte of `stop` gives up."""
    words = dict(options)
    geometry = None
    if "start" in words and words["start"] not in _STARTS:
        geometry = structure(words.pop("start"))
    both = sides(reactant, product, geometry, number)
    with _alone(options.get("saddle") is not None):
        answer = _saddlefit.answer(both, database._stored, _saddlefit.Options(**words), stop)
    return Guess._of(answer)


@contextlib.contextmanager
def _alone(needed: bool) -> Iterator[None]:
    if needed and not _saddle_search.acquire(blocking=False):
        raise RefusedError("another thread searches for a saddle point, and libxtb does not work in "
                           "two at once; take react_many with workers=\"processes\"")
    try:
        yield
    finally:
        if needed:
            _saddle_search.release()
