#!/usr/bin/env python3
"""Times the look-up of reaction templates: saddlefit's search of a database, open or to be opened,
and the search for isomorphic reaction centres with RDKit and a dictionary by transition code, with
networkx and a dictionary by Weisfeiler-Lehman hash, and with networkx alone, over the same records
and in turns.

A template is the centre of a reaction with one shell of neighbours; its nodes are labelled by
element, its edges by the type of bond in the transition state. The peers tell which templates are
that of the query, and are checked to agree; saddlefit tells the stored structure that fits best,
mapped and superposed.

usage: bench/template_lookup.py LIBRARY REACTIONS_PREFIX... --out FILE
"""
import argparse
import ctypes
import json
import os
import pathlib
import random
import tempfile
import time
from collections import defaultdict

import networkx
from networkx.algorithms.isomorphism import categorical_edge_match, categorical_node_match
from rdkit import Chem

SYMBOLS = {"H": 1, "C": 6, "N": 7, "O": 8, "F": 9, "P": 15, "S": 16, "Cl": 17, "Br": 35, "I": 53}
FLUORINE = 9
ROUNDS = 7
QUERIES = 20
SCANNED = 3  # of them, where each takes long


class Library:
    """The few calls of the shared library that are needed here."""

    def __init__(self, path):
        self.lib = ctypes.CDLL(path)
        self.lib.C_createMolecule.restype = ctypes.c_void_p
        self.lib.getTransitionCode.restype = ctypes.POINTER(ctypes.c_int)
        self.libc = ctypes.CDLL(None)
        self.libc.strdup.restype = ctypes.c_void_p
        for name in ("openReactionDatabase", "createSearcher", "searchReactions"):
            getattr(self.lib, name).restype = ctypes.c_void_p
        self.searcher = ctypes.c_void_p(self.lib.createSearcher())
        self.match, self.map = ctypes.c_void_p(), ctypes.c_void_p()

    def molecule(self, reaction):
        """The transition-state picture, as it is stored."""
        mol = self.question(reaction)
        self.lib.applyTransition(mol)
        return mol

    def question(self, reaction):
        atoms, bonds, steps = reaction
        mol = ctypes.c_void_p(self.lib.C_createMolecule(len(atoms), len(bonds), 0, len(steps)))
        for i, (element, place) in enumerate(atoms):
            self.lib.C_setAtom(mol, i, element, 0, None, *map(ctypes.c_double, place))
        for i, ((a, b), order) in enumerate(bonds.items()):
            self.lib.C_setBond(mol, i, a, b, order)
        for i, step in enumerate(steps):
            self.lib.C_setTransition(mol, i, *step)
        return mol

    def bonds(self, mol):
        """Bonds of the transition state by their atoms."""
        bonds, index, fields = {}, 0, [ctypes.c_int() for _ in range(3)]
        while self.lib.C_getBond(mol, index, *map(ctypes.byref, fields)):
            a, b, order = (field.value for field in fields)
            bonds[a, b] = order
            index += 1
        return bonds

    def store(self, path, mol):
        code = self.lib.getTransitionCode(mol)
        name = ctypes.c_void_p(self.libc.strdup(b"template"))
        assert self.lib.insertDB(path, name, code, mol) == 1
        self.libc.free(code)

    def code(self, mol):
        code = self.lib.getTransitionCode(mol)
        numbers = []
        while code[len(numbers)] != 0:
            numbers.append(code[len(numbers)])
        self.libc.free(code)
        return tuple(numbers)

    def open(self, path):
        return ctypes.c_void_p(self.lib.openReactionDatabase(path))

    def search_open(self, database, mol):
        result = self.lib.searchReactions(self.searcher, database, mol, None)
        self.lib.freeSearchResult(ctypes.c_void_p(result))

    def search(self, path, mol):
        self.lib.mapDB(path, mol, ctypes.byref(self.match), ctypes.byref(self.map))
        self.lib.C_freeMolecule(self.match)
        self.libc.free(self.map)


def records(path):
    """Atoms and bonds of the V2000 records of a file."""
    for text in pathlib.Path(path).read_text().split("$$$$\n")[:-1]:
        lines = text.split("\n")
        atom_count, bond_count = int(lines[3][:3]), int(lines[3][3:6])
        atoms = [(SYMBOLS[line[31:34].strip()], tuple(map(float, line[:30].split())))
                 for line in lines[4:4 + atom_count]]
        bonds = {}
        for line in lines[4 + atom_count:4 + atom_count + bond_count]:
            a, b, order = int(line[:3]) - 1, int(line[3:6]) - 1, int(line[6:9])
            bonds[min(a, b), max(a, b)] = order
        yield atoms, bonds


def transitions(before, after):
    falling, rising = [], []
    for pair in sorted(before.keys() | after.keys()):
        change = after.get(pair, 0) - before.get(pair, 0)
        (rising if change > 0 else falling).extend([pair] * abs(change))
    none, length = (-1, -1), max(len(falling), len(rising))
    falling += [none] * (length - len(falling))
    rising += [none] * (length - len(rising))
    return [f + r for f, r in zip(falling, rising)]


def read_reactions(prefixes):
    for prefix in prefixes:
        sides = (records(prefix + kind + ".sdf") for kind in ("reactants", "products", "ts"))
        for (_, before), (_, after), (state, _) in zip(*sides):
            steps = transitions(before, after)
            if steps:
                yield state, before, steps


def varied(reaction, rng):
    """The reaction with fluorine in the place of a hydrogen outside the centre."""
    atoms, bonds, steps = reaction
    centre = {atom for step in steps for atom in step}
    free = [i for i, (element, _) in enumerate(atoms) if element == 1 and i not in centre]
    atoms = list(atoms)
    if free and rng.random() < 0.7:
        chosen = rng.choice(free)
        atoms[chosen] = (FLUORINE, atoms[chosen][1])
    return atoms, bonds, steps


def template(reaction, bonds):
    atoms, _, steps = reaction
    centre = {atom for step in steps for atom in step if atom >= 0}
    kept = centre | {atom for pair in bonds for atom in pair if centre & set(pair)}
    graph = networkx.Graph()
    graph.add_nodes_from((atom, {"element": atoms[atom][0]}) for atom in kept)
    graph.add_edges_from((a, b, {"type": order}) for (a, b), order in bonds.items()
                         if a in kept and b in kept)
    return graph


NODES, EDGES = categorical_node_match("element", 0), categorical_edge_match("type", 0)


def same(a, b):
    return networkx.is_isomorphic(a, b, node_match=NODES, edge_match=EDGES)


class Scan:
    """networkx alone: every template."""

    def __init__(self, templates, codes):
        self.templates = templates

    def prepare(self, graph, code):
        return graph

    def __call__(self, query):
        return [i for i, other in enumerate(self.templates) if same(query, other)]


class Hashes:
    """networkx: templates by Weisfeiler-Lehman hash, which is found for the query each time."""

    def __init__(self, templates, codes):
        self.templates, self.by_hash = templates, defaultdict(list)
        for i, graph in enumerate(templates):
            self.by_hash[self.hash(graph)].append(i)

    @staticmethod
    def hash(graph):
        return networkx.weisfeiler_lehman_graph_hash(graph, edge_attr="type", node_attr="element")

    def prepare(self, graph, code):
        return graph

    def __call__(self, query):
        return [i for i in self.by_hash.get(self.hash(query), ()) if same(query, self.templates[i])]


class Dictionary:
    """RDKit: templates by transition code, as molecules."""

    def __init__(self, templates, codes):
        self.by_code = defaultdict(list)
        for i, (graph, code) in enumerate(zip(templates, codes)):
            self.by_code[code].append((i, self.molecule(graph)))

    @staticmethod
    def molecule(graph):
        mol, place = Chem.RWMol(), {}
        for node, element in graph.nodes(data="element"):
            place[node] = mol.AddAtom(Chem.Atom(element))
        for a, b, order in graph.edges(data="type"):
            # Two types that differ are all that matters; type 0 would match any.
            mol.AddBond(place[a], place[b], Chem.BondType.values[order + 1])
        return mol.GetMol()

    def prepare(self, graph, code):
        return self.molecule(graph), code

    def __call__(self, query):
        mol, code = query
        sizes = mol.GetNumAtoms(), mol.GetNumBonds()
        return [i for i, other in self.by_code.get(code, ())
                if (other.GetNumAtoms(), other.GetNumBonds()) == sizes
                and other.HasSubstructMatch(mol)]


PEERS = {"RDKit by code": Dictionary, "networkx by hash": Hashes, "networkx": Scan}


def seconds(calls):
    start = time.process_time()
    for call in calls:
        call()
    return time.process_time() - start


def quietly(work):
    """The search prints what it looks into; nobody reads it here."""
    saved, null = os.dup(1), os.open(os.devnull, os.O_WRONLY)
    os.dup2(null, 1)
    try:
        return work()
    finally:
        ctypes.CDLL(None).fflush(None)
        os.dup2(saved, 1)
        os.close(saved)
        os.close(null)


def measure(library, reactions, count, folder, rng):
    variants = [varied(reactions[i % len(reactions)], rng) for i in range(min(count, 1000))]
    path = os.path.join(folder, str(count)).encode()
    open(path, "wb").close()
    templates, codes = [], []
    for variant in variants:
        mol = library.molecule(variant)
        library.store(path, mol)
        templates.append(template(variant, library.bonds(mol)))
        codes.append(library.code(mol))
        library.lib.C_freeMolecule(mol)
    # A file is a row of blocks, so that one behind the other is a file again.
    copies = count // len(variants)
    pathlib.Path(path.decode()).write_bytes(pathlib.Path(path.decode()).read_bytes() * copies)
    peers = {name: peer(templates * copies, codes * copies) for name, peer in PEERS.items()}

    sample = rng.sample(reactions, min(QUERIES, len(reactions)))
    queries = [varied(reaction, rng) for reaction in sample]
    mols = [library.molecule(query) for query in queries]
    asked = [(template(query, library.bonds(mol)), library.code(mol))
             for query, mol in zip(queries, mols)]
    database, questions = library.open(path), [library.question(query) for query in queries]
    work = {"saddlefit": [lambda m=mol: library.search_open(database, m) for mol in questions],
            "saddlefit, to be opened": [lambda m=mol: library.search(path, m) for mol in mols]}
    for name, peer in peers.items():
        prepared = [peer.prepare(*question) for question in asked]
        work[name] = [lambda p=peer, q=query: p(q) for query in prepared]
    work["networkx"] = work["networkx"][:SCANNED]
    check(work)
    rounds = defaultdict(list)
    for _ in range(ROUNDS):
        for side, calls in work.items():
            rounds[side].append(quietly(lambda c=calls: seconds(c)) / len(calls))
    name = f"template look-up/one query/{len(templates) * copies}/"
    return [{"name": name + side, "runs": runs} for side, runs in rounds.items()]


def check(work):
    answers = [[call() for call in work[name]] for name in PEERS]
    shortest = min(map(len, answers))
    assert all(some[:shortest] == answers[0][:shortest] for some in answers)
    assert answers[0] == answers[1]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("library")
    parser.add_argument("prefixes", nargs="+")
    parser.add_argument("--out", required=True)
    arguments = parser.parse_args()
    library, rng = Library(arguments.library), random.Random(1)
    reactions = list(read_reactions(arguments.prefixes))
    with tempfile.TemporaryDirectory() as folder:
        rows = [row for count in (842, 10000)
                for row in measure(library, reactions, count, folder, rng)]
    pathlib.Path(arguments.out).write_text(json.dumps(rows))


if __name__ == "__main__":
    main()
