/// Texts, codes and effects of transitions, and constraints measured in any other molecule.
#include "saddlefit/reaction.h"

#include "tests/fuzz/bytes.hpp"

#include <cstring>
#include <set>

using namespace saddlefit;
using namespace saddlefit::fuzz;

namespace {

using Ints = std::vector<int>;

int smallType(Bytes &bytes) {
    const int choice = bytes.byte();
    return choice < 240 ? choice % 8 - 1 : bytes.wild();
}

/// Labels of one or two letters, of which some are given twice and some to no atom.
std::string label(Bytes &bytes) {
    const int choice = bytes.byte();
    std::string text(1, "ABCDEFGH-"[choice % 9]);
    if (choice >= 200) text += static_cast<char>(bytes.byte());
    return text;
}

void setLabels(Bytes &bytes, Molecule &mol) {
    for (Atom &atom : atomsOf(mol))
        if (bytes.byte() < 224) atom.label = strdup(label(bytes).c_str());
}

std::string transitionText(Bytes &bytes) {
    std::string text;
    for (int words = bytes.below(100); words > 0; --words) {
        text += label(bytes);
        text += bytes.oneOf({" ", " ", "\t", "  "});
    }
    return text;
}

int labelled(const Molecule &mol, const std::string &word) {
    for (int atom = 0; atom < mol.atomCount; ++atom)
        if (mol.atoms[atom].label && word == mol.atoms[atom].label) return atom;
    return -1;
}

void requireText(Molecule &mol, const std::string &text) {
    std::vector<char> words(text.c_str(), text.c_str() + text.size() + 1);
    Ints atoms;
    char *rest = nullptr;
    for (char *word = strtok_r(words.data(), " \t", &rest); word;
         word = strtok_r(nullptr, " \t", &rest))
        atoms.push_back(labelled(mol, word));
    const int result = genTransition(&mol, text.c_str());
    require(result == (atoms.size() % 4 == 0 ? 1 : 0), "an incomplete group is told");
    atoms.resize(atoms.size() / 4 * 4);
    Ints read;
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(mol))
        read.insert(read.end(), {breakA, breakB, formA, formB});
    require(read == atoms, "each four words are a transition");
}

Ints code(Molecule &mol) {
    const OwnedBlock<int> code(getTransitionCode(&mol));
    require(!code == (mol.transitionCount == 0), "only without transitions there is no code");
    Ints list;
    for (const int *at = code.get(); at && *at; ++at) {
        require(*at != -1, "a half that names no two atoms is left out");
        list.push_back(*at);
    }
    require(list.size() <= 4 * transitionsOf(mol).size(), "no more codes than atoms are named");
    return list;
}

/// Another numbering of the same atoms, and the same steps in another order and direction.
OwnedMol rewritten(const Molecule &mol) {
    OwnedMol other = copyOf(mol);
    const int last = mol.atomCount - 1;
    std::ranges::reverse(atomsOf(*other));
    std::ranges::reverse(transitionsOf(*other));
    const auto renumbered = [&](int atom) { return hasAtom(mol, atom) ? last - atom : -1; };
    for (auto &[breakA, breakB, formA, formB] : transitionsOf(*other)) {
        std::swap(breakA, formB);
        std::swap(breakB, formA);
        for (int *atom : {&breakA, &breakB, &formA, &formB})
            *atom = renumbered(*atom);
    }
    return other;
}

void requireMarks(Molecule &mol) {
    Ints marks(atomsOf(mol).size() + 1, 77), expected(atomsOf(mol).size() + 1, 5);
    expected.back() = 77;
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(mol))
        for (const int atom : {breakA, breakB, formA, formB})
            if (hasAtom(mol, atom)) expected[static_cast<std::size_t>(atom)] = 3;
    mapTransition(&mol, marks.data(), 3, 5);
    require(marks == expected, "the atoms that are named are marked");
}

void requireApplied(Molecule &mol) {
    const std::size_t before = bondsOf(mol).size(), steps = 2 * transitionsOf(mol).size();
    std::set<std::pair<int, int>> named;
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(mol))
        named.insert({std::minmax(breakA, breakB), std::minmax(formA, formB)});
    std::vector<Bond> given;
    for (const Bond *bond : bondsOf(mol))
        given.push_back(*bond);
    applyTransition(&mol);
    require(bondsOf(mol).size() >= before, "bonds are made, none is removed");
    for (std::size_t i = 0; i < bondsOf(mol).size(); ++i) {
        const Bond &bond = *mol.bonds[i];
        const bool isNamed = named.contains(std::minmax(bond.atom1, bond.atom2));
        require(isNamed || (i < before && bond.type == given[i].type),
                "bonds that no transition names stay as they are");
    }
    require(constraintsOf(mol).size() <= steps, "each step sets a distance at most");
    for (const Constraint &distance : constraintsOf(mol)) {
        require(hasAtom(mol, distance.a) && hasAtom(mol, distance.b) && distance.c == -1 &&
                    distance.d == -1,
                "a distance has two atoms");
        require(distance.value > 0 && distance.value < 10, "targets are lengths of bonds");
    }
    requireSoundIndex(mol);
}

void requireMeasured(Molecule &mol, const Constraint &constraint, Molecule &ref, const Ints &map) {
    const auto partner = [&](int atom) { return &ref.atoms[map[static_cast<std::size_t>(atom)]]; };
    for (const int atom : {constraint.a, constraint.b, constraint.c, constraint.d})
        require(atom == -1 ||
                    (hasAtom(mol, atom) && hasAtom(ref, map[static_cast<std::size_t>(atom)])),
                "constraints name mapped atoms");
    require(getConstraint(&mol, constraint.d, constraint.b, constraint.a, constraint.c) ==
                &constraint,
            "no two constraints are on the same atoms");
    const double size = std::fabs(constraint.value);
    if (constraint.c == -1)
        require(same(constraint.value, calcDist(partner(constraint.b), partner(constraint.a))),
                "distances are those of the other molecule");
    else
        require(!(size > 180.0000001), "angles are in degrees");
}

/// Constraints from, and placement on, another molecule by any map.
void requireConstraints(Bytes &bytes, Molecule &mol) {
    const OwnedMol ref = atoms(bytes, 7);
    addBonds(bytes, *ref, smallType);
    Ints map;
    for (int atom = 0; atom < mol.atomCount; ++atom)
        map.push_back(bytes.byte() < 64 ? -1 : bytes.mostlyBelow(ref->atomCount));
    const auto flags = static_cast<std::uint8_t>(bytes.byte());
    constrainSub(&mol, ref.get(), map.data(), flags);
    require((flags & 7) || mol.constraintCount == 0, "only what is asked for is measured");
    for (const Constraint &constraint : constraintsOf(mol))
        requireMeasured(mol, constraint, *ref, map);

    const Ints given = map;
    freezeSub(&mol, ref.get(), map.data());
    require(map == given, "the map stays as it is");
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        const int partner = map[static_cast<std::size_t>(atom)];
        const Atom &placed = mol.atoms[atom];
        require(placed.frozen == (hasAtom(*ref, partner) ? 1 : 0), "mapped atoms are frozen");
        if (placed.frozen)
            require(samePlace(placed, ref->atoms[partner]), "mapped atoms lie on their partners");
    }
    for (const Constraint &constraint : constraintsOf(mol))
        require(constraint.c >= 0 && constraint.d == -1, "the shell is held by angles");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Bytes bytes(data, size);
    const OwnedMol mol = atoms(bytes, 8);
    const int indexed = bytes.byte();
    if (indexed & 1) createBondlink(mol.get());
    addBonds(bytes, *mol, smallType);
    if (indexed & 2) createBondlink(mol.get());
    if (bytes.flag()) {
        setLabels(bytes, *mol);
        requireText(*mol, transitionText(bytes));
    } else {
        addTransitions(bytes, *mol, 6);
    }
    require(code(*mol) == code(*rewritten(*mol)), "a code knows neither numbering nor direction");
    requireMarks(*mol);
    requireApplied(*mol);
    requireConstraints(bytes, *mol);
    return 0;
}
