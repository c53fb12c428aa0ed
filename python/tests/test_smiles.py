"""Sides as SMILES."""

import json

import pytest

import saddlefit
from conftest import run_program

DIELS_ALDER = ("C=CC(C)=C.C=C", "C1CCC(C)=CC1")


@pytest.mark.parametrize("given", [DIELS_ALDER, ">>".join(DIELS_ALDER),
                                   (["C=CC(C)=C", "C=C"], DIELS_ALDER[1])], ids=str)
def test_smiles_are_the_programs(given, tmp_path):
    """But for what Open Babel's embedding makes of them, which differs from run to run."""
    run_program("react", ">>".join(DIELS_ALDER), "--db", "reactions.db", "--json", tmp_path / "json")
    expected = json.loads((tmp_path / "json").read_text())
    for workers in ("threads", "processes"):
        guess, = saddlefit.react_many([given], "reactions.db", workers=workers)
        found = json.loads(guess.json())
        assert all(found[key] == expected[key] for key in ("record", "title", "code", "match", "outcome"))
        assert [change.length for change in guess.changes] == pytest.approx(
            [change["length"] for change in expected["changes"]], abs=0.01)
