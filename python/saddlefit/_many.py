"""Many reactions, side by side."""

from __future__ import annotations

import contextlib
import multiprocessing
import os
from collections import deque
from collections.abc import Callable, Iterable, Iterator
from concurrent.futures import Executor, Future, ProcessPoolExecutor, ThreadPoolExecutor
from itertools import count
from typing import Any

from ._database import Database, opened
from ._errors import Error
from ._guess import Guess
from ._react import answered
from ._sides import side

#: Reactions that are handed out ahead, per worker: so none waits, and a long iterable is not read
#: as a whole.
_AHEAD = 4


def react_many(reactions: Iterable[tuple[Any, Any] | str],
               database: Database | str | os.PathLike[str] | None = None, *, jobs: int = 1,
               workers: str = "threads", errors: str = "raise", progress: bool = False,
               **options: Any) -> Iterator[Guess | Error]:
    """Ask for many reactions, and get the guesses in their order.

    Parameters
    ----------
    reactions : iterable of (reactant, product)
        Sides as `react` takes them, or a reaction SMILES in place of both. It is read as the work
        goes on.
    database : Database or path-like, optional
        As for `react`.
    jobs : int
        How many reactions are worked on at once.
    workers : {'threads', 'processes'}
        Threads share the database and cost nothing to start. A process each survives a crash of
        the others' and does not share the interpreter's lock.
    errors : {'raise', 'yield'}
        Whether a reaction that fails ends the iteration, or its `Error` stands in its place.
    progress : bool
        Whether ``tqdm`` shows how far it is.
    **options
        As for `react`.

    Yields
    ------
    Guess or Error

    Raises
    ------
    Error
        As `react` raises, unless errors are yielded.
    ImportError
        If progress is wanted without tqdm.
    KeyboardInterrupt
        On Ctrl-C; all workers give up what they are at.

    Examples
    --------
    >>> sides = zip(saddlefit.read("reactants.sdf"), saddlefit.read("products.sdf"))
    >>> [guess.match for guess in saddlefit.react_many(sides, "reactions.db", jobs=2)][4:6]
    ['enol-vinylalcohol', 'h13-formamide']
    """
    if workers not in _POOLS:
        raise ValueError(f"workers: {workers!r} is none of threads, processes")
    if errors not in ("raise", "yield"):
        raise ValueError(f"errors: {errors!r} is none of raise, yield")
    if jobs < 1:
        raise ValueError("jobs: must be 1 or more")
    if options.get("saddle") and jobs > 1 and workers == "threads":
        raise ValueError("saddle: libxtb does not work in two threads at once; take "
                         "workers=\"processes\"")
    return _results(reactions, opened(database), jobs, _POOLS[workers], errors == "yield",
                    progress, options)


Task = Callable[[Any, Any, int], "Guess | Error"]


def _results(reactions: Iterable[tuple[Any, Any] | str], database: Database, jobs: int,
             pool: Callable[..., Any], yields_errors: bool, progress: bool,
             options: dict[str, Any]) -> Iterator[Guess | Error]:
    numbered = zip(count(1), _shown(reactions) if progress else reactions)
    with pool(jobs, database, options) as submit:
        running: deque[Future[Guess]] = deque()
        for number, reaction in numbered:
            both = (reaction, None) if isinstance(reaction, str) else reaction
            running.append(submit(*both, number))
            if len(running) >= _AHEAD * jobs:
                yield _result(running.popleft(), yields_errors)
        while running:
            yield _result(running.popleft(), yields_errors)


def _result(future: Future[Guess], yields_errors: bool) -> Guess | Error:
    try:
        return future.result()
    except Error as error:
        if yields_errors:
            return error
        raise


def _shown(reactions: Iterable[Any]) -> Iterable[Any]:
    from tqdm import tqdm

    shown: Iterable[Any] = tqdm(reactions, unit=" reactions")
    return shown


# ---- threads ------------------------------------------------------------------------------------


@contextlib.contextmanager
def _threads(jobs: int, database: Database, options: dict[str, Any]) -> Iterator[Any]:
    stop = bytearray(1)
    with ThreadPoolExecutor(jobs) as executor, _stopping(executor, stop):
        yield lambda reactant, product, number: executor.submit(
            answered, reactant, product, database, options, number, stop)


@contextlib.contextmanager
def _stopping(executor: Executor, stop: Any) -> Iterator[None]:
    """However the work ends, what is still going on is given up."""
    try:
        yield
    finally:
        stop[0] = 1
        executor.shutdown(cancel_futures=True)


# ---- processes ----------------------------------------------------------------------------------


@contextlib.contextmanager
def _processes(jobs: int, database: Database, options: dict[str, Any]) -> Iterator[Any]:
    context = multiprocessing.get_context()
    stop = context.RawArray("b", 1)
    with ProcessPoolExecutor(jobs, context, _prepare, (database.path, options, stop)) as executor:
        with _stopping(executor, stop):
            yield lambda reactant, product, number: _submitted(executor, reactant, product, number)


def _submitted(executor: Executor, reactant: Any, product: Any, number: int) -> Future[Guess]:
    """Sides become structures here: what they were need not go to another process."""
    try:
        sides = (side(reactant), None if product is None else side(product))
        return executor.submit(_answered_there, *sides, number)
    except Error as error:
        failed: Future[Guess] = Future()
        failed.set_exception(error)
        return failed


_there: tuple[Database, dict[str, Any], Any]


def _prepare(path: str, options: dict[str, Any], stop: Any) -> None:
    """In a new process. Ctrl-C is the parent's affair."""
    import signal

    global _there
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    _there = (Database(path), options, stop)


def _answered_there(reactant: Any, product: Any, number: int) -> Guess:
    database, options, stop = _there
    return answered(reactant, product, database, options, number, stop)


_POOLS = {"threads": _threads, "processes": _processes}
