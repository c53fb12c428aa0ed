"""Threads, processes, interrupts, memory, descriptors."""

import multiprocessing
import os
import pickle
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

import pytest

import saddlefit


def texts(guesses):
    return [re.sub('"record":[0-9]+', "", guess.json(), count=1) for guess in guesses]


@pytest.fixture
def expected(sides):
    return texts(saddlefit.react(*pair, "reactions.db") for pair in sides)


@pytest.mark.parametrize("workers", ["threads", "processes"])
def test_workers_answer_in_order(workers, sides, expected):
    found = saddlefit.react_many(sides * 3, "reactions.db", jobs=3, workers=workers)
    assert texts(found) == expected * 3


def test_two_threads_with_two_databases(sides, expected):
    shutil.copy("reactions.db", "copy.db")
    found = {}

    def ask(path):
        with saddlefit.Database(path) as database:
            found[path] = [texts(saddlefit.react_many(sides, database)) for _ in range(5)]

    threads = [threading.Thread(target=ask, args=(path,)) for path in ("reactions.db", "copy.db")]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == {path: [expected] * 5 for path in ("reactions.db", "copy.db")}


def in_child(pipe, sides, database):
    pipe.send(texts(saddlefit.react_many(sides, database, relax="uff")))


def test_a_forked_process_answers_with_what_it_inherits(sides):
    context = multiprocessing.get_context("fork")
    database = saddlefit.Database("reactions.db")
    before = texts(saddlefit.react_many(sides, database, relax="uff"))  # Open Babel runs from now
    ours, theirs = context.Pipe()
    child = context.Process(target=in_child, args=(theirs, sides, database))
    child.start()
    assert ours.poll(120) and ours.recv() == before
    child.join()
    assert texts(saddlefit.react_many(sides, database, relax="uff")) == before


# ---- interrupts ---------------------------------------------------------------------------------


def seconds_until_interrupted(after, work):
    """As Ctrl-C does it: the handler of SIGINT raises, whenever the signal comes."""
    timer = threading.Timer(after, os.kill, (os.getpid(), signal.SIGINT))
    start = time.monotonic()
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            work()
    finally:
        timer.cancel()
    return time.monotonic() - start


def test_ctrl_c_ends_the_search_for_a_map():
    """Alike atoms, and four bonds of 59 elsewhere: there are many ways to leave four out."""
    places = [(1.5 * i, 0.1 * (i % 7), 0.1 * (i % 3)) for i in range(60)]
    chain = [(i, i + 1, 1) for i in range(59)]
    moved = [(10, 30, 1), (20, 50, 1), (5, 40, 1), (33, 55, 1)]
    kept = [bond for bond in chain if bond[0] not in (10, 20, 30, 40)]
    one, other = (saddlefit.Structure([6] * 60, places, bonds) for bonds in (chain, kept + moved))
    assert seconds_until_interrupted(
        0.5, lambda: saddlefit.map_atoms(one, other, seconds=100)) < 20


@pytest.mark.parametrize("options", [{}, {"jobs": 2}, {"jobs": 2, "workers": "processes"}], ids=str)
def test_ctrl_c_ends_a_program_that_is_waited_for(options, sides, tmp_path, monkeypatch):
    (tmp_path / "xtb").write_text("#!/bin/sh\nexec sleep 100\n")
    (tmp_path / "xtb").chmod(0o755)
    monkeypatch.setenv("PATH", f"{tmp_path}:{os.environ['PATH']}")
    assert seconds_until_interrupted(
        1.0, lambda: list(saddlefit.react_many(sides, "reactions.db", relax="xtb", **options))) < 30


def test_a_signal_that_is_handled_ends_nothing(sides, expected):
    caught = []
    previous = signal.signal(signal.SIGALRM, lambda *_: caught.append(1))
    signal.setitimer(signal.ITIMER_REAL, 0.01, 0.01)
    try:
        found = texts(saddlefit.react_many(sides, "reactions.db"))
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
    assert found == expected and caught


# ---- resources ----------------------------------------------------------------------------------


def test_memory_stays_flat_over_ten_thousand_calls(sides):
    with saddlefit.Database("reactions.db") as database:
        def peak_after(calls):
            for _ in range(calls):
                saddlefit.react(*sides[0], database, relax="none").json()
            return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

        first = peak_after(1000)
        assert peak_after(9000) - first < 1024  # kilobytes


def test_nothing_is_printed_and_no_descriptor_is_left():
    script = ("import os, saddlefit\n"
              "before = os.listdir('/proc/self/fd')\n"
              "sides = zip(saddlefit.read('reactants.sdf'), saddlefit.read('products.sdf'))\n"
              "for guess in saddlefit.react_many(sides, 'reactions.db', jobs=2): pass\n"
              "try: saddlefit.react('h2.xyz', 'h2.xyz', 'reactions.db', bonds='saddlefit')\n"
              "except saddlefit.Error: pass\n"
              "del sides\n"
              "assert os.listdir('/proc/self/fd') == before\n")
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_without_numpy_files_and_smiles_are_answered_all_the_same():
    script = ("import sys\nsys.modules['numpy'] = None\nimport saddlefit\n"
              "guess = saddlefit.react('reactant.sdf', 'product.sdf', 'reactions.db')\n"
              "assert len(guess.positions) == 9 and guess.frozen == (0, 1, 3)\n"
              "try: guess.reactant.numbers\n"
              "except ImportError as error: print(guess.match, error.name)\n")
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True)
    assert done.stdout.split() == ["sn2-cl-ch3cl", "numpy.core"], done.stderr


def test_structures_and_guesses_go_through_pickle(sides):
    guess = saddlefit.react(*sides[2], "reactions.db")
    reactant, product, same = pickle.loads(pickle.dumps((*sides[2], guess)))
    assert same.json() == guess.json() and reactant.source == sides[2][0].source
    assert saddlefit.react(reactant, product, "reactions.db").json() == guess.json()
