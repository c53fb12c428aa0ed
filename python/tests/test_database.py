"""Databases, and every error."""

import os
import shutil

import numpy as np
import pytest

import saddlefit
from conftest import DATA, run_program


def parents():
    return list(zip(*(saddlefit.read(DATA / f"parents_{kind}.sdf")
                      for kind in ("reactants", "products", "ts"))))


def test_a_database_that_is_made_here_is_the_programs():
    with saddlefit.Database("made.db", create=True) as database:
        assert [database.add(*triple, force=True) for triple in parents()] == list(range(14))
        assert len(database) == 14
        known = database[3].known
        assert (known["level"], known["family"]) == (
            "GFN2-xTB, gas phase", "H2CO -> H2 + CO")
    for end in ("", ".jsonl"):  # what is known stands beside it
        assert open("made.db" + end, "rb").read() == open("reactions.db" + end, "rb").read()


def test_what_is_said_of_a_record_and_what_marks_it():
    implausible = parents()[3]
    with saddlefit.Database("marked.db", create=True) as database:
        position = database.add(*implausible, facts={"source": "here", "date": "2020-02-02"})
        known = database[position].known
        assert (known["quality"], known["source"], known["date"]) == (
            "refused", "here", "2020-02-02")
        assert len(known["objections"]) == 1
        with pytest.raises(TypeError, match="no fact colour"):
            database.add(*implausible, facts={"colour": "red"})


def test_records_are_those_of_the_files():
    database = saddlefit.Database("reactions.db")
    for record, (reactant, _, state) in zip(database, parents()):
        assert (record.name, record.numbers.tolist()) == (state.title, state.numbers.tolist())
        assert record.positions == pytest.approx(state.positions, abs=1e-4)
        assert len(record.bonds) >= len(reactant.bonds) and len(record.steps) > 0
    assert database[-1].name == database[13].name == database[12:][1].name
    assert [record.position for record in database.find("claisen")] == [6]
    assert {record.position for record in database.find(elements=[9, 17], barrier=(0, 100))} == {9}
    assert database.find(level="B3LYP") == []


def test_upkeep():
    for end in ("", ".jsonl"):
        shutil.copy("reactions.db" + end, "kept.db" + end)
    database = saddlefit.Database("kept.db")
    names = [record.name for record in database]
    database.remove(0, 5)
    assert [record.name for record in database] == names[1:5] + names[6:]
    checked = database.check()
    assert (checked.records, checked.free_blocks, checked.damage) == (12, 2, None)
    before, after = database.compact()
    assert before - after >= checked.free_bytes and os.path.getsize("kept.db") == after
    assert f"{after} after" in run_program("db", "compact", "kept.db")
    assert "12 with a side record, 0 without" in run_program("db", "check", "kept.db")


# ---- errors -------------------------------------------------------------------------------------


def react(reactant, product, **options):
    return saddlefit.react(reactant, product, "reactions.db", **options)


def first(kind):
    return saddlefit.read(f"{kind}.sdf")[0]


def broken():
    with open("broken.xyz", "w") as file:
        file.write("2\n\nH 0 0 0\nH a b c\n")
    return saddlefit.read("broken.xyz")[0]


def damaged():
    shutil.copy("reactions.db", "damaged.db")
    os.truncate("damaged.db", os.path.getsize("damaged.db") - 10)
    return saddlefit.Database("damaged.db")


ERRORS = [
    (lambda: saddlefit.read("nowhere.sdf"), saddlefit.InputError, {"file": "nowhere.sdf"}),
    (lambda: saddlefit.perceive("C=C"), saddlefit.InputError, {}),
    (lambda: react(first("reactants"), first("products")).write("guess.gz"), saddlefit.InputError, {}),
    (broken, saddlefit.InputError, {"file": "broken.xyz", "record": 1}),
    (lambda: react("h2.xyz", "h2.xyz"), saddlefit.InputError,
     {"file": "h2.xyz", "record": 1, "title": "h2"}),
    (lambda: react("reactants.sdf", "products.sdf"), saddlefit.InputError,
     {"file": "reactants.sdf"}),
    (lambda: react(first("reactants"), "h2.xyz"), saddlefit.InputError, {"file": "h2.xyz"}),
    (lambda: react(first("reactants"), first("products"), uhf=1), saddlefit.InputError,
     {"file": "reactants.sdf", "record": 1}),
    (lambda: saddlefit.Database("nowhere.db"), saddlefit.InputError, {"file": "nowhere.db"}),
    (lambda: saddlefit.Database("h2.xyz"), saddlefit.DatabaseError, {"file": "h2.xyz"}),
    (lambda: damaged()[13], saddlefit.DatabaseError, {"file": "damaged.db"}),
    (lambda: saddlefit.Database("reactions.db").remove(99), saddlefit.InputError,
     {"file": "reactions.db"}),
    (lambda: saddlefit.Database("reactions.db").remove(1, 1), saddlefit.RefusedError,
     {"file": "reactions.db"}),
    (lambda: saddlefit.Database("old.db").add(*parents()[9]), saddlefit.RefusedError, {}),
]


@pytest.mark.parametrize("work, kind, facts", ERRORS, ids=range(len(ERRORS)))
def test_errors_carry_their_facts(work, kind, facts):
    with pytest.raises(kind) as raised:
        work()
    assert isinstance(raised.value, saddlefit.Error)
    assert {name: getattr(raised.value, name) for name in facts} == facts
    assert "--" not in str(raised.value)  # no options of the program


def test_too_many_changes_name_their_atoms():
    places = np.arange(39).reshape(13, 3)
    chain = [(i, i + 1, 1) for i in range(12)]
    sides = [saddlefit.Structure([6] * 13, places, bonds) for bonds in (chain, chain[:1])]
    with pytest.raises(saddlefit.InputError) as raised:
        react(*sides, map="order")
    assert raised.value.atoms == tuple(range(1, 13))


@pytest.mark.parametrize("work, kind, words", [
    (lambda: react("h2.xyz", "h2.xyz", speed=1), TypeError, "there is no option speed"),
    (lambda: react("h2.xyz", "h2.xyz", relax="warp"), ValueError, "relax: \"warp\" is none of"),
    (lambda: react("h2.xyz", "h2.xyz", rivals=0), ValueError, "rivals: must be from 1"),
    (lambda: react("h2.xyz", "h2.xyz", charge="2"), TypeError, "charge: a str is no value"),
    (lambda: react("h2.xyz", 5), TypeError, "int is no structure"),
    (lambda: react("C=C", "h2.xyz"), ValueError, "both as SMILES"),
    (lambda: react("C=C>>CC", "h2.xyz"), ValueError, "is both sides"),
    (lambda: react("h2.xyz", None), TypeError, "the product is missing"),
    (lambda: react([], "h2.xyz"), ValueError, "no molecules"),
    (lambda: saddlefit.Structure([1], [[0, 0, 0]], map_numbers=[-1]), ValueError, "map_numbers"),
    (lambda: saddlefit.Structure([1], [[0, 0, np.nan]]), ValueError, "atom 0 .* no finite"),
    (lambda: saddlefit.Structure([1], [[0, 0]]), ValueError, "positions: the shape must be"),
    (lambda: saddlefit.Structure([1, 1], np.zeros((2, 3)), [[0, 2, 1]]), ValueError, "row 0"),
    (lambda: saddlefit.Database("reactions.db")[14], IndexError, ""),
    (lambda: saddlefit.map_atoms("h2.xyz", "chfclbr.xyz"), LookupError, "different atoms"),
    (lambda: saddlefit.react_many([], "reactions.db", jobs=0), ValueError, "jobs"),
    (lambda: saddlefit.superpose([[0, 0, 0]], [[0, 0, 0]], [0, 1]), ValueError, "partners"),
])
def test_wrong_calls(work, kind, words):
    with pytest.raises(kind, match=words):
        work()


def test_a_closed_database_says_so():
    with saddlefit.Database("reactions.db") as database:
        pass
    with pytest.raises(ValueError, match="closed"):
        len(database)


def test_failures_stand_in_their_place(monkeypatch):
    monkeypatch.setenv("SADDLEFIT_DB", "reactions.db")
    sides = [("h2.xyz", "h2.xyz"), (first("reactants"), first("products"))]
    failed, guess = saddlefit.react_many(sides, errors="yield")
    assert isinstance(failed, saddlefit.InputError) and guess.match == "sn2-cl-ch3cl"
    with pytest.raises(saddlefit.InputError) as raised:
        list(saddlefit.react_many(sides, jobs=2, workers="processes"))
    assert raised.value.record == 1
