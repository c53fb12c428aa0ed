"""Structures: atoms in space, with their bonds."""

from __future__ import annotations

import os
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, overload

from . import _saddlefit

if TYPE_CHECKING:  # which whoever gives no arrays and asks for none does without
    import numpy as np
    import numpy.typing as npt

    Integers = npt.NDArray[np.int32]
    Reals = npt.NDArray[np.float64]


class Structure:
    """A molecule, or several, as one side of a reaction.

    Parameters
    ----------
    numbers : array_like of int, shape (n,)
        Atomic numbers.
    positions : array_like of float, shape (n, 3)
        Where the atoms are, in angstrom.
    bonds : array_like of int, shape (m, 3), optional
        Two atoms, counted from 0, and a type: 1, 2, 3, or 5 for an aromatic bond. Without it the
        bonds are found by the coordinates.
    charges : array_like of int, shape (n,), optional
        Formal charges.
    map_numbers : array_like of int, shape (n,), optional
        Which atom of the other side each one is: the one with the same number. 0 for an atom
        without a number.
    title : str, optional
        What it is called in results.

    Raises
    ------
    ValueError
        If the arrays do not fit together, or name what there is not.

    Examples
    --------
    >>> water = saddlefit.Structure([8, 1, 1], [[0, 0, 0], [0.96, 0, 0], [-0.24, 0.93, 0]])
    >>> water.bonds.tolist()
    [[0, 1, 1], [0, 2, 1]]
    """

    __slots__ = ("_core",)
    _core: _saddlefit.Structure

    def __init__(self, numbers: npt.ArrayLike, positions: npt.ArrayLike,
                 bonds: npt.ArrayLike | None = None, *, charges: npt.ArrayLike | None = None,
                 map_numbers: npt.ArrayLike | None = None, title: str = "") -> None:
        self._core = _saddlefit.Structure(numbers, positions, bonds, charges=charges,
                                          map_numbers=map_numbers, title=title)

    @classmethod
    def _of(cls, core: _saddlefit.Structure) -> Structure:
        structure = cls.__new__(cls)
        structure._core = core
        return structure

    @property
    def numbers(self) -> Integers:
        """Atomic numbers, shape (n,)."""
        return self._core.numbers

    @property
    def positions(self) -> Reals:
        """Where the atoms are, shape (n, 3), in angstrom."""
        return self._core.positions

    @property
    def bonds(self) -> Integers:
        """Two atoms, from 0, and a type, shape (m, 3)."""
        return self._core.bonds

    @property
    def charges(self) -> Integers:
        """Formal charges, shape (n,)."""
        return self._core.charges

    @property
    def map_numbers(self) -> Integers:
        """Numbers that name the same atom on both sides, shape (n,); 0 for none."""
        return self._core.map_numbers

    @property
    def title(self) -> str:
        """What it is called; empty where it has no name."""
        return self._core.title

    @property
    def source(self) -> str:
        """Where it comes from: the file, the record, the title."""
        return self._core.source

    @property
    def fields(self) -> dict[str, str]:
        """The data fields of its record."""
        return self._core.fields

    def __len__(self) -> int:
        return len(self._core)

    def __repr__(self) -> str:
        return f"<Structure {self.title or self.source!r}, {len(self)} atoms>"

    def __reduce__(self) -> tuple[Any, ...]:
        return Structure._of, (self._core,)

    def to_ase(self) -> Any:
        """The atoms as an ``ase.Atoms``, in the same order.

        Raises
        ------
        ImportError
            Without ASE.

        Examples
        --------
        >>> saddlefit.read("h2.xyz")[0].to_ase().get_chemical_formula()
        'H2'
        """
        from ._convert import ase_atoms
        return ase_atoms(self.numbers, self.positions)

    def to_rdkit(self) -> Any:
        """The structure as an RDKit ``Mol`` with a conformer, its atoms in the same order.

        Raises
        ------
        ImportError
            Without RDKit.

        Examples
        --------
        >>> saddlefit.read("h2.xyz")[0].to_rdkit().GetNumAtoms()
        2
        """
        from ._convert import rdkit_molecule
        return rdkit_molecule(self, self.positions)


class Records(Sequence[Structure]):
    """The records of a file of structures, each read when it is asked for; see `read`."""

    def __init__(self, path: str | os.PathLike[str], format: str = "") -> None:
        self._file = _saddlefit.RecordFile(os.fsencode(path), format)

    def __len__(self) -> int:
        return len(self._file)

    @overload
    def __getitem__(self, index: int) -> Structure: ...
    @overload
    def __getitem__(self, index: slice) -> list[Structure]: ...
    def __getitem__(self, index: int | slice) -> Structure | list[Structure]:
        places = range(len(self))[index]
        if isinstance(places, int):
            return Structure._of(self._file.read(places))
        return [Structure._of(self._file.read(place)) for place in places]


def read(path: str | os.PathLike[str], format: str = "") -> Records:
    """Open a file of structures, in any format that Open Babel reads.

    Parameters
    ----------
    path : path-like
        SDF and XYZ files are read by saddlefit itself.
    format : str, optional
        An extension that tells the format, for a file that has none.

    Returns
    -------
    Records
        A sequence of `Structure`. A record is read when it is asked for, and raises `InputError`
        then if it is broken; the others can be read all the same.

    Raises
    ------
    InputError
        If there is no such file, or no records can be told in it.
    MachineError
        If it cannot be opened.
    ProgramError
        If the format takes Open Babel, and its program is not there or fails.

    Examples
    --------
    >>> reactants = saddlefit.read("reactants.sdf")
    >>> reactants[0].title, reactants[0].positions.shape
    ('q-sn2-cl-c2h5cl', (9, 3))
    """
    return Records(path, format)
