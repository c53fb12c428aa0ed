"""What goes wrong, with the facts as attributes."""

from __future__ import annotations


class Error(Exception):
    """Whatever saddlefit has to refuse; its message says what is wrong, where, and what to do.

    Attributes
    ----------
    file : str or None
        The file that it is about, or ``"structure"`` for one that came from memory.
    record : int or None
        The record in it: from 1 in files of structures, from 0 in databases.
    title : str or None
        The title of that record.
    atoms : tuple of int
        The atoms that it is about, from 0, as the reactant lists them.

    Examples
    --------
    >>> try:
    ...     saddlefit.react("h2.xyz", "h2.xyz", "reactions.db")
    ... except saddlefit.Error as error:
    ...     print(error.file, error.record)
    h2.xyz 1
    """

    file: str | None = None
    record: int | None = None
    title: str | None = None
    atoms: tuple[int, ...] = ()


class InputError(Error):
    """A file, a record or a value that was given is not there, or not what it must be.

    Examples
    --------
    >>> saddlefit.read("nowhere.sdf")
    Traceback (most recent call last):
    ...
    saddlefit.InputError: nowhere.sdf: cannot be opened (No such file or directory)
    """


class RefusedError(Error):
    """What was asked for would destroy something, or contradicts itself."""


class DatabaseError(Error):
    """The bytes of a database are not what they must be."""


class ProgramError(Error):
    """A program that is asked, as xtb or Open Babel's, is not there or has failed."""


class LimitError(Error):
    """More than there is time or room for."""


class MachineError(Error):
    """The machine refuses: rights, disk, memory, processes."""


class Cancelled(Exception):
    """The work was given up because its caller wanted so."""


for _error in (Error, InputError, RefusedError, DatabaseError, ProgramError, LimitError,
               MachineError):
    _error.__module__ = "saddlefit"
