"""The module's answers are the program's."""

import json
from pathlib import Path

import ase.build
import numpy as np
import pytest
from ase.constraints import FixAtoms
from rdkit import Chem
from rdkit.Chem import rdMolAlign

import saddlefit
from conftest import run_program

OPTIONS = [
    ({}, []),
    ({"relax": "none", "stages": ["lengths"]}, ["--relax", "none", "--stages", "lengths"]),
    ({"start": "reactant", "orders": "drawn", "map": "order", "placement": "library", "rivals": 1},
     ["--start", "reactant", "--orders", "drawn", "--map", "order", "--placement", "library",
      "--rivals", "1"]),
    ({"relax": "uff", "guesses": 3}, ["--relax", "uff", "--guesses", "3"]),
]


@pytest.mark.parametrize("options, words", OPTIONS, ids=["plain", "lengths", "library", "uff"])
def test_equal_to_the_program(options, words, sides, tmp_path):
    files = [tmp_path / name for name in ("guess.json", "guess.sdf", "guess.xyz")]
    run_program("react", "reactants.sdf", "products.sdf", "--db", "reactions.db", *words, "--json",
                files[0], "-o", files[1], "--xyz", files[2])
    guesses = list(saddlefit.react_many(sides, "reactions.db", **options))
    assert [guess.json() for guess in guesses] == files[0].read_text().splitlines()
    for file in files:
        one = tmp_path / f"one{file.suffix}"
        text = b""
        for guess in guesses:
            guess.write(one)
            text += one.read_bytes()
        assert text == file.read_bytes()


def test_members_say_what_the_json_says(sides):
    guess = saddlefit.react(*sides[3], "reactions.db")
    guess.write("guess.mol2")
    guess.write("guess.html")
    assert Path("guess.mol2").read_text().startswith("@<TRIPOS>MOLECULE\nq-elim-hfco\n")
    assert Path("guess.html").read_text().startswith("<!")
    facts = json.loads(guess.json())
    assert guess.positions.dtype == np.float64 and not guess.positions.flags.writeable
    assert guess.positions.tolist() == [atom["position"] for atom in facts["atoms"]]
    assert (guess.frozen + 1).tolist() == facts["frozen"]
    assert [change.length for change in guess.changes] == pytest.approx(
        [np.linalg.norm(guess.positions[a] - guess.positions[b])
         for a, b in (change.atoms for change in guess.changes)])
    assert [rival.name for rival in guess.rivals] == [
        match["name"] for match in facts["search"][-1]["matches"][1:]]
    with pytest.raises(AttributeError):
        guess.match = "another"
    assert "&lt;script" in guess._repr_html_() and "<script" not in guess._repr_html_()


def test_a_saddle_point_is_searched_for_and_verified(sides):
    """The level of the example data: the search ends on its transition state."""
    guess = saddlefit.react(*sides[4], "reactions.db", saddle="gfn2")
    saddle = json.loads(guess.json())["saddle"]
    assert saddle["outcome"] == "verified"
    with pytest.raises(ValueError, match="two threads"):
        saddlefit.react_many(sides, "reactions.db", jobs=2, saddle="gfn2")
    with saddlefit._react._saddle_search:  # as another thread does
        with pytest.raises(saddlefit.RefusedError, match="processes"):
            saddlefit.react(*sides[4], "reactions.db", saddle="gfn2")


# ---- sides --------------------------------------------------------------------------------------


def in_other_forms(structure, path):
    molecule = structure.to_rdkit()
    with Chem.SDWriter(str(path)) as file:
        file.SetKekulize(False)
        file.write(molecule)
    return {"rdkit": molecule, "path": path, "text": str(path),
            "arrays": (structure.numbers, structure.positions, structure.bonds)}


@pytest.mark.parametrize("form", ["rdkit", "path", "text", "arrays"])
@pytest.mark.parametrize("index", [1, 5])
def test_a_side_in_another_form_is_the_same_reaction(form, index, sides, tmp_path):
    expected = saddlefit.react(*sides[index], "reactions.db")
    given = [in_other_forms(side, tmp_path / f"{i}.sdf")[form]
             for i, side in enumerate(sides[index])]
    # An exchange of like for like takes map numbers, for which there is no room in arrays.
    options = {"map": "order"} if form == "arrays" else {}
    guess = saddlefit.react(*given, "reactions.db", **options)
    assert guess.match == expected.match
    assert guess.positions == pytest.approx(expected.positions, abs=2e-3)  # 4 decimals in files


def test_ase_gives_and_takes_atoms(sides):
    atoms = ase.build.molecule("C2H4")
    structure = saddlefit.Structure(atoms.numbers, atoms.positions)
    assert sorted(structure.bonds[:, 2].tolist()) == [1, 1, 1, 1, 2]
    assert saddlefit.perceive(atoms).tolist() == structure.bonds.tolist()
    guess = saddlefit.react(*sides[0], "reactions.db", start=saddlefit.read("ts.sdf")[0].to_ase())
    given = guess.to_ase()
    assert isinstance(given.constraints[0], FixAtoms)
    assert given.constraints[0].index.tolist() == guess.frozen.tolist()
    assert not guess.to_ase(fix=False).constraints
    assert given.positions.tolist() == guess.positions.tolist()
    assert guess.to_rdkit().GetConformer().GetPositions().tolist() == guess.positions.tolist()


def test_molecules_of_a_side_are_placed_as_they_react(sides, tmp_path):
    """Each a file, or each a structure; wherever they stand."""
    reactant, product = sides[8]
    atoms = Chem.GetMolFrags(reactant.to_rdkit())
    files = [tmp_path / f"{i}.xyz" for i in range(len(atoms))]
    for file, places in zip(files, atoms):
        reactant.to_ase()[list(places)].write(file)
    product.to_ase().write(tmp_path / "product.xyz")
    run_program("react", "--reactants", *files, "--products", tmp_path / "product.xyz", "--db",
                "reactions.db", "--json", tmp_path / "json")
    expected = json.loads((tmp_path / "json").read_text())
    for molecules in (files, [saddlefit.read(file)[0] for file in files]):
        guess = saddlefit.react(molecules, [tmp_path / "product.xyz"], "reactions.db")
        assert guess.match == expected["match"] == "da-butadiene-ethene"
        assert guess.positions.tolist() == [atom["position"] for atom in expected["atoms"]]


# ---- pieces -------------------------------------------------------------------------------------


def test_pieces_say_what_the_program_says():
    bonds, codes = ([json.loads(line) for line in
                     run_program(command, "reactants.sdf", "--json").splitlines()]
                    for command in ("perceive", "stereo"))
    for i, structure in enumerate(saddlefit.read("reactants.sdf")):
        assert (saddlefit.perceive(structure) + [1, 1, 0]).tolist() == bonds[i]["bonds"]
        assert list(saddlefit.stereo(structure)) == [atom["code"] for atom in codes[i]["atoms"]]


def test_superposition_is_the_best_there_is():
    random = np.random.default_rng(7)
    reference = random.normal(size=(8, 3))
    turn = np.linalg.qr(random.normal(size=(3, 3)))[0]
    turn *= np.sign(np.linalg.det(turn))
    moved = reference[::-1] @ turn + [3, -2, 1] + random.normal(scale=0.05, size=(8, 3))
    laid = saddlefit.superpose(moved, reference, np.arange(8)[::-1])
    molecules = [saddlefit.Structure([6] * 8, points, np.empty((0, 3))).to_rdkit()
                 for points in (moved, reference)]
    best = rdMolAlign.AlignMol(*molecules, atomMap=[(7 - i, i) for i in range(8)])
    assert laid.rmsd == pytest.approx(best, abs=1e-5)


def test_shuffled_atoms_are_mapped_back(sides):
    reactant, product = sides[4]
    order = np.random.default_rng(3).permutation(len(product))
    bonds = product.bonds
    bonds[:, :2] = np.argsort(order)[bonds[:, :2]]
    shuffled = saddlefit.Structure(product.numbers[order], product.positions[order], bonds)
    best = saddlefit.map_atoms(reactant, shuffled)[0]
    assert reactant.numbers.tolist() == shuffled.numbers[best.product_atoms].tolist()
    straight, found = (saddlefit.transitions(reactant, side)[0] for side in (product, shuffled))
    assert straight.code == found.code
    assert straight.product_atoms.tolist() == list(range(len(product)))
    assert found.product_atoms.tolist() == best.product_atoms.tolist()
