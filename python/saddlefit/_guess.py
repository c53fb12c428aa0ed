"""What comes of a reaction."""

from __future__ import annotations

import html
import json
import os
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

from . import _saddlefit
from ._structure import Structure

if TYPE_CHECKING:
    from ._structure import Integers, Reals


#: Other endings of the same formats.
_FORMATS = {"sd": "sdf", "mol": "sdf", "mdl": "sdf", "jsonl": "json", "htm": "html"}


@dataclass(frozen=True)
class Change:
    """A bond that the reaction changes.

    Attributes
    ----------
    atoms : tuple of int
        Its two atoms, from 0.
    before, after : int
        Its type on both sides; 0 for no bond, 5 for an aromatic one.
    role : str
        ``"breaks"``, ``"forms"``, ``"weakens"`` or ``"strengthens"``.
    length : float
        In the guess, angstrom.
    usual : float
        Of such bonds in the database, angstrom.
    """

    atoms: tuple[int, int]
    before: int
    after: int
    role: str
    length: float
    usual: float


@dataclass(frozen=True)
class Constraint:
    """What an optimisation of the guess should keep.

    Attributes
    ----------
    kind : str
        ``"distance"``, ``"angle"`` or ``"dihedral"``.
    atoms : tuple of int
        From 0.
    value : float
        Angstrom, or degrees.
    """

    kind: str
    atoms: tuple[int, ...]
    value: float


@dataclass(frozen=True)
class Rival:
    """A stored structure that fits less well than the match.

    Attributes
    ----------
    name : str
        Of its record.
    misfit : float
        Of the reaction centre to the start geometry, angstrom.
    direction : str
        ``"same"`` if what the reaction makes and breaks does the same there, ``"opposite"`` or
        ``"mixed"``.
    """

    name: str
    misfit: float
    direction: str


@dataclass(frozen=True, eq=False)
class Guess:
    """A transition-state guess for a whole molecule.

    Attributes
    ----------
    outcome : str
        ``"exact"``: the whole molecule is stored; ``"partial"``: the reaction centre stands on
        that of `match`; ``"none"``: nothing fits, and the constraints hold lengths.
    match : str or None
        The name of the stored transition state.
    stage : str or None
        The way of asking that answered: ``"full"``, ``"sigma"`` or ``"lengths"``.
    positions : ndarray of float64, shape (n, 3)
        Angstrom, in the reactant's order. Without numpy these and the frozen atoms are tuples.
    frozen : ndarray of int32, shape (k,)
        Atoms, from 0, that stand where the transition state has them.
    constraints : tuple of Constraint
        What an optimisation should keep.
    changes : tuple of Change
        The bonds that change.
    expected_error : float or None
        The mean error of made and broken bonds that such guesses have, angstrom.
    rivals : tuple of Rival
        The stored structures behind the match, best first.
    warnings : tuple of str
        What is doubtful about the records and about the structure.
    reactant, product : Structure
        The sides as they were compared, both in the reactant's order.

    Examples
    --------
    >>> reactants, products = saddlefit.read("reactants.sdf"), saddlefit.read("products.sdf")
    >>> guess = saddlefit.react(reactants[0], products[0], "reactions.db")
    >>> guess.positions.shape, guess.frozen.tolist()
    ((9, 3), [0, 1, 3])
    >>> round(guess.expected_error, 2)
    0.08
    """

    outcome: str
    match: str | None
    stage: str | None
    positions: Reals
    frozen: Integers
    constraints: tuple[Constraint, ...]
    changes: tuple[Change, ...]
    expected_error: float | None
    rivals: tuple[Rival, ...]
    warnings: tuple[str, ...]
    reactant: Structure
    product: Structure
    _finished: Structure = field(repr=False)
    _texts: dict[str, bytes] = field(repr=False)

    @classmethod
    def _of(cls, answer: _saddlefit.WrittenAnswer) -> Guess:
        facts = json.loads(answer.json)
        positions, frozen = _arrays(answer, facts)
        return cls(
            outcome=facts["outcome"],
            match=facts["match"],
            stage=facts["stage"],
            positions=positions,
            frozen=frozen,
            constraints=tuple(
                Constraint(entry["kind"], _from_zero(entry["atoms"]), entry["value"])
                for entry in facts["constraints"]),
            changes=tuple(
                Change((entry["atoms"][0] - 1, entry["atoms"][1] - 1), entry["before"],
                       entry["after"], entry["role"], entry["length"], entry["usual"])
                for entry in facts["changes"]),
            expected_error=facts["expectedError"],
            rivals=_rivals(facts["search"]),
            warnings=answer.warnings + tuple(facts["strains"]),
            reactant=Structure._of(answer.reactant),
            product=Structure._of(answer.product),
            _finished=Structure._of(answer.finished),
            _texts={"json": answer.json.encode(), "sdf": answer.sdf, "xyz": answer.xyz})

    def json(self) -> str:
        """Everything about the answer, as ``saddlefit react --json`` writes it.

        Returns
        -------
        str
            A JSON object in one line, without its newline. Atoms count from 1 in it.

        Examples
        --------
        >>> guess = saddlefit.react("reactant.sdf", "product.sdf", "reactions.db")
        >>> json.loads(guess.json())["code"]
        'C-Cl C-Cl'
        """
        return self._texts["json"].decode().rstrip("\n")

    def write(self, path: str | os.PathLike[str]) -> None:
        """Write the guess as the program does.

        Parameters
        ----------
        path : path-like
            It is overwritten. Its ending tells the format: ``.sdf`` and ``.xyz`` with all facts,
            ``.json``, ``.html`` for a page to look at, or one that Open Babel writes.

        Raises
        ------
        InputError
            If the ending names no format that can be written.
        ProgramError
            If the format takes Open Babel, and its program is not there or fails.
        OSError
            If the file cannot be written.

        Examples
        --------
        >>> guess = saddlefit.react("reactant.sdf", "product.sdf", "reactions.db")
        >>> guess.write("guess.xyz")
        >>> len(saddlefit.read("guess.xyz")[0])
        9
        """
        extension = os.path.splitext(os.fsdecode(path))[1].lower().lstrip(".")
        content = self._content(_FORMATS.get(extension, extension))
        with open(path, "wb") as file:
            file.write(content)

    def _content(self, format: str) -> bytes:
        if format in self._texts:
            return self._texts[format]
        if format == "html":
            return self._page().encode(errors="surrogateescape")
        return _saddlefit.foreign_record(format, self._finished._core)

    def _page(self) -> str:
        return _saddlefit.report_page(self.reactant.title, self.json())

    def _repr_html_(self) -> str:
        """A page to look at, in a notebook."""
        page = self._page()
        return (f'<iframe srcdoc="{html.escape(page)}" width="100%" height="600" '
                'style="border: 0"></iframe>')

    def to_ase(self, fix: bool = True) -> Any:
        """The guess as an ``ase.Atoms``.

        Parameters
        ----------
        fix : bool
            Whether the frozen atoms get a ``FixAtoms``.

        Raises
        ------
        ImportError
            Without ASE.

        Examples
        --------
        >>> guess = saddlefit.react("reactant.sdf", "product.sdf", "reactions.db")
        >>> atoms = guess.to_ase()
        >>> atoms.get_chemical_formula(), len(atoms.constraints)
        ('C2H5Cl2', 1)
        """
        from ._convert import ase_atoms, fixed

        atoms = ase_atoms(self.reactant.numbers, self.positions)
        return fixed(atoms, self.frozen) if fix and len(self.frozen) else atoms

    def to_rdkit(self) -> Any:
        """The guess as an RDKit ``Mol``: the reactant's bonds, at the guess's coordinates.

        Raises
        ------
        ImportError
            Without RDKit.

        Examples
        --------
        >>> guess = saddlefit.react("reactant.sdf", "product.sdf", "reactions.db")
        >>> guess.to_rdkit().GetNumBonds()
        7
        """
        from ._convert import rdkit_molecule

        return rdkit_molecule(self.reactant, self.positions)


def _arrays(answer: _saddlefit.WrittenAnswer, facts: dict[str, Any]) -> tuple[Any, Any]:
    """Positions and frozen atoms; tuples where there is no numpy."""
    try:
        import numpy as np
    except ImportError:
        positions = tuple(tuple(atom["position"]) for atom in facts["atoms"])
        return positions, _from_zero(facts["frozen"])
    array = answer.positions
    array.flags.writeable = False
    return array, np.array(facts["frozen"], dtype=np.int32) - 1


def _from_zero(atoms: list[int]) -> tuple[int, ...]:
    return tuple(atom - 1 for atom in atoms)


def _rivals(stages: list[dict[str, Any]]) -> tuple[Rival, ...]:
    """An exact match has none; of the stages the last one answered."""
    matches = stages[-1]["matches"] if stages else []
    return tuple(Rival(match["name"], match["misfit"], match["direction"])
                 for match in matches[1:])
