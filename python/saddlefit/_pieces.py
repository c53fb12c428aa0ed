"""What `react` is made of, piece by piece."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from . import _saddlefit
from ._sides import sides, structure

if TYPE_CHECKING:
    import numpy.typing as npt

    from ._structure import Integers, Reals


def perceive(side: Any) -> Integers:
    """Find bonds and their types by the coordinates, by the library's rules.

    Parameters
    ----------
    side : side
        As `react` takes it; bonds that it has are not looked at.

    Returns
    -------
    ndarray of int32, shape (m, 3)
        Two atoms, from 0, and a type: 1, 2, 3, 5 for an aromatic bond, 0 for a contact.

    Raises
    ------
    InputError
        If the atoms lie on top of each other.

    Examples
    --------
    >>> saddlefit.perceive(([6, 8], [[0, 0, 0], [0, 0, 1.2]])).tolist()
    [[0, 1, 2]]
    """
    return _saddlefit.perceive(structure(side)._core)


def stereo(side: Any) -> tuple[str, ...]:
    """Tell R from S.

    Parameters
    ----------
    side : side
        As `react` takes it, with coordinates.

    Returns
    -------
    tuple of str
        For each atom ``"R"``, ``"S"``, or ``"-"`` where there is no code.

    Examples
    --------
    >>> saddlefit.stereo(saddlefit.read("chfclbr.xyz")[0])
    ('S', '-', '-', '-', '-')
    """
    return tuple(_saddlefit.stereo(structure(side)._core))


@dataclass(frozen=True, eq=False)
class AtomMap:
    """Which atoms of two sides correspond.

    Attributes
    ----------
    product_atoms : ndarray of int32, shape (n,)
        For each atom of the reactant the one of the product that it becomes, from 0.
    broken, formed : int
        Bonds, whatever their order.
    inverted : int
        Centres and double bonds that do not keep their configuration.
    order_steps : int
        Steps of order of the bonds that stay.
    misfit : float
        Root mean square after superposition, angstrom.
    """

    product_atoms: Integers
    broken: int
    formed: int
    inverted: int
    order_steps: int
    misfit: float


def map_atoms(reactant: Any, product: Any, *, bonds: int = 8,
              seconds: float = 20.0) -> tuple[AtomMap, ...]:
    """Find which atoms correspond so that the fewest bonds break and form.

    Parameters
    ----------
    reactant, product : side
        As `react` takes them, their atoms in any order.
    bonds : int
        Broken and formed together, up to which a map is looked for.
    seconds : float
        Up to which it is looked for.

    Returns
    -------
    tuple of AtomMap
        One for each different reaction, the best first. Sides that are the same molecules have one
        that breaks and forms nothing.

    Raises
    ------
    LookupError
        If the sides have not the same elements, or there is no map within the limits.
    KeyboardInterrupt
        On Ctrl-C.

    Examples
    --------
    >>> reactant, product = saddlefit.read("reactants.sdf")[3], saddlefit.read("products.sdf")[3]
    >>> best = saddlefit.map_atoms(reactant, product)[0]
    >>> best.broken, best.formed, best.product_atoms.tolist()
    (2, 1, [0, 1, 2, 3])
    """
    search = _saddlefit.map_atoms(structure(reactant)._core, structure(product)._core, bonds,
                                  seconds)
    if not search.maps:
        raise LookupError(f"no map was found: {search.outcome}")
    return tuple(AtomMap(one.product_atoms, search.broken, search.formed, one.inverted,
                         one.order_steps, one.misfit) for one in search.maps)


@dataclass(frozen=True, eq=False)
class Superposition:
    """A molecule laid on another.

    Attributes
    ----------
    positions : ndarray of float64, shape (n, 3)
        Of the molecule, angstrom, in the frame of the reference.
    rmsd : float
        Root of the mean squared distance of the pairs, angstrom.
    """

    positions: Reals
    rmsd: float


def superpose(positions: npt.ArrayLike, reference: npt.ArrayLike,
              partners: npt.ArrayLike | None = None) -> Superposition:
    """Lay a molecule on another by the least squares, without a reflection.

    Parameters
    ----------
    positions : array_like of float, shape (n, 3)
        Of the molecule that moves, angstrom.
    reference : array_like of float, shape (m, 3)
        Of the one that stays, angstrom.
    partners : array_like of int, shape (m,), optional
        For each atom of the reference the one of the molecule that is laid on it, -1 for none. By
        default the one of the same number.

    Returns
    -------
    Superposition

    Raises
    ------
    ValueError
        If the shapes do not fit together.

    Examples
    --------
    >>> line = [[0, 0, 0], [1, 0, 0], [2, 0, 0]]
    >>> turned = [[5, 0, 0], [5, 1, 0], [5, 2, 0]]
    >>> laid = saddlefit.superpose(turned, line)
    >>> bool(np.allclose(laid.positions, line)), round(laid.rmsd, 6)
    (True, 0.0)
    """
    import numpy as np

    fixed = np.asarray(reference, dtype=float)
    chosen = np.arange(len(fixed)) if partners is None else np.asarray(partners, dtype=np.int32)
    laid = _saddlefit.superpose(positions, fixed, chosen.tolist())
    mapped = np.flatnonzero((chosen >= 0) & (chosen < len(laid)))
    away = laid[chosen[mapped]] - fixed[mapped]
    rmsd = float(np.sqrt((away**2).sum() / len(mapped))) if len(mapped) else 0.0
    return Superposition(laid, rmsd)


@dataclass(frozen=True, eq=False)
class Transitions:
    """What a reaction does to bonds.

    Attributes
    ----------
    code : str
        The elements of the changing bonds, by which stored reactions are found.
    changes : ndarray of int32, shape (k, 4)
        Two atoms, from 0, and the type of their bond before and after.
    steps : ndarray of int32, shape (l, 4)
        Per transition the atoms of the bond that falls by one order and of the one that rises, -1
        for none.
    product_atoms : ndarray of int32, shape (n,)
        For each atom of the reactant the one of the product that it becomes, from 0.
    """

    code: str
    changes: Integers
    steps: Integers
    product_atoms: Integers


def transitions(reactant: Any, product: Any, **options: Any) -> tuple[Transitions, ...]:
    """Tell what a reaction does to bonds, from the difference of its sides.

    Parameters
    ----------
    reactant, product : side
        As `react` takes them.
    **options
        ``orders``, ``map``, ``map_bonds``, ``map_time``: see `react`.

    Returns
    -------
    tuple of Transitions
        Several where the atoms can be paired in several ways that break and form equally few
        bonds; the likelier first.

    Raises
    ------
    InputError
        If the sides make no reaction.
    KeyboardInterrupt
        On Ctrl-C.

    Examples
    --------
    >>> found = saddlefit.transitions("reactant.sdf", "product.sdf")[0]
    >>> found.code, found.changes.tolist()
    ('C-Cl C-Cl', [[0, 1, 0, 1], [1, 3, 1, 0]])
    """
    return tuple(Transitions(one.code, one.changes, one.steps, _order(one))
                 for one in _saddlefit.transitions(sides(reactant, product), _saddlefit.Options(**options)))


def _order(reaction: _saddlefit.Reaction) -> Integers:
    import numpy as np

    atoms = reaction.product_atoms
    return atoms if len(atoms) else np.arange(reaction.atom_count, dtype=np.int32)
