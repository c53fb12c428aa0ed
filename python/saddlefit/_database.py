"""Databases of transition states."""

from __future__ import annotations

import datetime
import json
import os
from collections.abc import Iterable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from types import TracebackType
from typing import TYPE_CHECKING, Any, overload

from . import _saddlefit
from ._errors import InputError
from ._sides import sides, structure

if TYPE_CHECKING:
    from ._structure import Integers, Reals

#: What add() takes of a record beside its structures.
_FACTS = {"level", "program", "verified", "source", "licence", "date", "family"}


@dataclass(frozen=True, eq=False)
class Record:
    """A stored transition state.

    Attributes
    ----------
    position : int
        In the database, from 0.
    name : str
        Under which it is stored.
    code : str
        The elements of the changing bonds.
    numbers : ndarray of int32, shape (n,)
        Atomic numbers.
    positions : ndarray of float64, shape (n, 3)
        Angstrom.
    bonds : ndarray of int32, shape (m, 3)
        Two atoms, from 0, and a type; 0 for a bond that is about to form or break.
    steps : ndarray of int32, shape (k, 4)
        Per transition the atoms of the bond that falls and of the one that rises, -1 for none.
    known : dict
        What stands beside the database of the record: level, barrier, source and the like, as
        ``saddlefit db show --json`` has it; empty where nothing is known.
    """

    position: int
    name: str
    code: str
    numbers: Integers
    positions: Reals
    bonds: Integers
    steps: Integers
    known: dict[str, Any]


@dataclass(frozen=True)
class Damage:
    """What is wrong with a database file.

    Attributes
    ----------
    offset : int
        Of the byte that says so.
    record : int or None
        The position of the record that it is in.
    what : str
        What is wrong.
    """

    offset: int
    record: int | None
    what: str


@dataclass(frozen=True)
class Check:
    """What a database file is made of.

    Attributes
    ----------
    records : int
        Sound ones.
    free_blocks, free_bytes : int
        What removed records have left.
    slack_bytes : int
        What records leave unused in their blocks.
    damage : Damage or None
        The first.
    """

    records: int
    free_blocks: int
    free_bytes: int
    slack_bytes: int
    damage: Damage | None


class Database(Sequence[Record]):
    """A database of transition states, a sequence of `Record`.

    Threads may share one. Whatever changes the file, as other programs may, is seen by the next
    call of `react`; the sequence shows it after `refresh`.

    Parameters
    ----------
    path : path-like, optional
        The file. By default the one that the environment variable ``SADDLEFIT_DB`` names, else the
        collection that comes with saddlefit.
    create : bool
        Whether a file that is not there is made.

    Raises
    ------
    InputError
        If no file is named, or there is none of that name.
    MachineError
        If it cannot be opened.
    DatabaseError
        If it is no database, or damaged in its blocks.

    Examples
    --------
    >>> with saddlefit.Database("reactions.db") as database:
    ...     print(len(database), database[0].name, database[0].positions.shape)
    14 iso-hcn (3, 3)
    """

    def __init__(self, path: str | os.PathLike[str] | None = None, *,
                 create: bool = False) -> None:
        self.path = os.fspath(path if path is not None else _default_path())
        if create and not os.path.exists(self.path):
            open(self.path, "xb").close()
        self.refresh()

    def refresh(self) -> None:
        """Look at the file anew.

        Examples
        --------
        >>> database = saddlefit.Database("reactions.db")
        >>> database.refresh()
        """
        name = os.fsencode(self.path)
        self._file: _saddlefit.DatabaseFile | None = _saddlefit.DatabaseFile(name)
        self._reactions: _saddlefit.StoredReactions | None = _saddlefit.StoredReactions(name)

    def close(self) -> None:
        """Let go of the file; what is asked afterwards raises ValueError.

        Examples
        --------
        >>> database = saddlefit.Database("reactions.db")
        >>> database.close()
        """
        self._file = self._reactions = None

    def __enter__(self) -> Database:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    @property
    def _records(self) -> _saddlefit.DatabaseFile:
        if self._file is None:
            raise ValueError(f"{self.path}: the database was closed")
        return self._file

    @property
    def _stored(self) -> _saddlefit.StoredReactions:
        if self._reactions is None:
            raise ValueError(f"{self.path}: the database was closed")
        return self._reactions

    def __repr__(self) -> str:
        return f"<Database {self.path!r}>"

    def __reduce__(self) -> tuple[Any, ...]:
        return Database, (self.path,)

    # ---- records --------------------------------------------------------------------------------

    def __len__(self) -> int:
        return len(self._records)

    @overload
    def __getitem__(self, index: int) -> Record: ...
    @overload
    def __getitem__(self, index: slice) -> list[Record]: ...
    def __getitem__(self, index: int | slice) -> Record | list[Record]:
        places = range(len(self))[index]
        if isinstance(places, int):
            return self._record(places)
        return [self._record(place) for place in places]

    def __iter__(self) -> Iterator[Record]:
        for position in range(len(self)):
            yield self._record(position)

    def _record(self, position: int) -> Record:
        stored = self._records.read(position)
        return Record(position, stored.name, stored.code, stored.numbers, stored.positions,
                      stored.bonds, stored.steps, json.loads(stored.known or "{}"))

    def find(self, name: str = "", *, code: str = "", elements: Iterable[int] = (),
             level: str = "", family: str = "", smarts: str = "",
             barrier: tuple[float, float] | None = None) -> list[Record]:
        """Look records up, as ``saddlefit db find`` does.

        Parameters
        ----------
        name : str
            A part of the name, in either case.
        code : str
            Elements of the changing bonds, in any order.
        elements : iterable of int
            Atomic numbers that all occur.
        level, family : str
            A part of the level of theory, or of the family, where they are known.
        smarts : str
            SMARTS or SMILES that the reactant or the product has; takes Open Babel.
        barrier : tuple of float, optional
            The lowest and the highest known barrier, kcal/mol.

        Returns
        -------
        list of Record
            Those that have all of it, in the order of the file.

        Raises
        ------
        InputError
            For a pattern that cannot be read.
        ProgramError
            Where Open Babel is asked and not there.

        Examples
        --------
        >>> database = saddlefit.Database("reactions.db")
        >>> [record.name for record in database.find(code="H-C C-O H-O C-C")]
        ['enol-vinylalcohol']
        """
        wanted = _saddlefit.RecordFilter()
        wanted.name, wanted.code, wanted.level = name, code, level
        wanted.family, wanted.smarts, wanted.elements = family, smarts, set(elements)
        if barrier is not None:
            wanted.lowest_barrier, wanted.highest_barrier = barrier
        return [self._record(position) for position in self._records.find(wanted)]

    # ---- upkeep ---------------------------------------------------------------------------------

    def add(self, reactant: Any, product: Any, transition_state: Any, *, force: bool = False,
            facts: Mapping[str, str] | None = None, **options: Any) -> int:
        """Store a transition state under the title of its structure.

        Parameters
        ----------
        reactant, product, transition_state : side
            As `react` takes them; all with the same atoms.
        force : bool
            Whether to store what is refused otherwise, and without a mark.
        facts : mapping of str, optional
            What stands beside the record: ``level``, ``program``, ``verified``, ``source``,
            ``licence``, ``date`` (of today by default), ``family``. Data fields of the transition
            state's record go before it.
        **options
            ``orders``, ``map``, ``map_bonds``, ``map_time``: see `react`.

        Returns
        -------
        int
            Its position.

        Raises
        ------
        InputError
            If the sides make no reaction.
        RefusedError
            If the same transition state is stored already. One that is implausible is stored with
            a mark, ``known["quality"]``, and asked where nothing else matches.

        Examples
        --------
        >>> database = saddlefit.Database("new.db", create=True)
        >>> database.add("reactant.sdf", "product.sdf", "state.sdf")
        0
        """
        both = sides(reactant, product, structure(transition_state))
        all_facts = {"date": datetime.date.today().isoformat(), **(facts or {})}
        unknown = set(all_facts) - _FACTS
        if unknown:
            raise TypeError(f"there is no fact {min(unknown)}; there are {', '.join(sorted(_FACTS))}")
        position = _saddlefit.add(os.fsencode(self.path), both, _saddlefit.Options(**options), force,
                                  all_facts)
        self.refresh()
        return position

    def remove(self, *positions: int) -> None:
        """Remove records; those behind them move up. The file keeps its size.

        Parameters
        ----------
        *positions : int
            As they are before the removal.

        Raises
        ------
        InputError
            If there is no such record.
        RefusedError
            If one is named twice.

        Examples
        --------
        >>> database = saddlefit.Database("old.db")
        >>> before = len(database)
        >>> database.remove(0, 2)
        >>> before - len(database)
        2
        """
        _saddlefit.remove(os.fsencode(self.path), positions)
        self.refresh()

    def check(self) -> Check:
        """Read every block and record, and look for damage.

        Examples
        --------
        >>> saddlefit.Database("reactions.db").check()
        Check(records=14, free_blocks=0, free_bytes=0, slack_bytes=0, damage=None)
        """
        found = _saddlefit.survey(os.fsencode(self.path))
        return Check(found.records, found.free_blocks, found.free_bytes, found.slack_bytes,
                     None if found.damage is None else Damage(*found.damage))

    def compact(self) -> tuple[int, int]:
        """Give back the room that no record uses.

        Returns
        -------
        tuple of int
            The size of the file in bytes, before and after.

        Raises
        ------
        DatabaseError
            If it is damaged; it is left alone then.

        Examples
        --------
        >>> before, after = saddlefit.Database("old.db").compact()
        >>> before >= after
        True
        """
        sizes = _saddlefit.compact(os.fsencode(self.path))
        self.refresh()
        return sizes


def _default_path() -> str:
    path = os.environ.get("SADDLEFIT_DB") or os.fsdecode(_saddlefit.collection_file())
    if not path:
        raise InputError("no database is named; give one, or let the environment variable "
                         "SADDLEFIT_DB name it")
    return path


def opened(database: Database | str | os.PathLike[str] | None) -> Database:
    return database if isinstance(database, Database) else Database(database)
