"""A folder with a database of the example parents, and files that ask for it."""

import os
import subprocess
from pathlib import Path

import pytest

DATA = Path(__file__).resolve().parents[2] / "data"
PROGRAM = os.environ.get("SADDLEFIT_PROGRAM", "saddlefit")

FILES = {
    "h2.xyz": "2\nh2\nH 0 0 0\nH 0 0 0.74\n",
    "chfclbr.xyz": "5\nchfclbr\nC 0 0 0\nH 0 0 1.09\nF 1.28 0 -0.45\nCl -0.83 1.44 -0.59\n"
                   "Br -0.92 -1.59 -0.65\n",
}


def run_program(*arguments, folder="."):
    return subprocess.run([PROGRAM, *map(str, arguments)], cwd=folder, check=True,
                          capture_output=True, text=True).stdout


@pytest.fixture(scope="session")
def example(tmp_path_factory):
    folder = tmp_path_factory.mktemp("example")
    parents = [DATA / f"parents_{kind}.sdf" for kind in ("reactants", "products", "ts")]
    for name in ("reactions.db", "old.db"):
        run_program("db", "add", "--force", name, *parents, folder=folder)
    for all_of_them, one in (("reactants", "reactant"), ("products", "product"), ("ts", "state")):
        text = (DATA / f"queries_{all_of_them}.sdf").read_text()
        (folder / f"{all_of_them}.sdf").write_text(text)
        (folder / f"{one}.sdf").write_text(text.split("$$$$\n")[0] + "$$$$\n")
    for name, text in FILES.items():
        (folder / name).write_text(text)
    return folder


@pytest.fixture(autouse=True)
def in_example(example, monkeypatch):
    monkeypatch.chdir(example)


@pytest.fixture
def sides():
    import saddlefit

    return list(zip(saddlefit.read("reactants.sdf"), saddlefit.read("products.sdf")))
