#include "saddlefit/host.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

using namespace saddlefit;

/// A private copy of a host's text. False if there is no memory; a null text is a valid one.
bool copyText(const char *text, OwnedBlock<char> &copy) {
    copy.reset(text ? strdup(text) : nullptr);
    return !text || copy;
}

void replaceText(char *&text, OwnedBlock<char> &copy) {
    std::free(text);
    text = copy.release();
}

bool covered(int index, int count) {
    return index >= 0 && index < count;
}

/// Enlarge an array so that it covers a position; nothing changes if it cannot.
template <class T> bool growArray(T *&array, int &count, int index) {
    if (index < 0 || index == INT_MAX) return false;
    if (index < count) return true;
    if (!resizeArray(array, static_cast<std::size_t>(index) + 1)) return false;
    std::fill(array + count, array + index + 1, T{});
    count = index + 1;
    return true;
}

bool growAtoms(Molecule &mol, int index) {
    return growArray(mol.atoms, mol.atomCount, index);
}

bool growConstraints(Molecule &mol, int index) {
    return growArray(mol.constraints, mol.constraintCount, index);
}

bool growTransitions(Molecule &mol, int index) {
    return growArray(mol.transitions, mol.transitionCount, index);
}

/// The slots of `bonds` are pointers, each to a record of its own. If one cannot be made the
/// new ones go again.
bool growBonds(Molecule &mol, int index) {
    const int before = mol.bondCount;
    if (!growArray(mol.bonds, mol.bondCount, index)) return false;
    const auto added = bondsOf(mol).subspan(static_cast<std::size_t>(before));
    for (Bond *&bond : added) {
        bond = allocateArray<Bond>(1);
        if (bond) continue;
        for (Bond *made : added)
            std::free(made);
        mol.bondCount = before;
        return false;
    }
    return true;
}

template <class T> void put(T *out, T value) {
    if (out) *out = value;
}

/// Growing to cover the last position covers them all; a count of 0 asks for nothing.
bool growTo(Molecule &mol, bool (*grow)(Molecule &, int), int count) {
    return count == 0 || (count > 0 && grow(mol, count - 1));
}

} // namespace

Molecule *C_createMolecule(int atomCount, int bondCount, int constraintCount, int transitionCount) {
    OwnedMol mol(createMol());
    if (!mol) return nullptr;
    const bool sized = growTo(*mol, growAtoms, atomCount) && growTo(*mol, growBonds, bondCount) &&
                       growTo(*mol, growConstraints, constraintCount) &&
                       growTo(*mol, growTransitions, transitionCount);
    return sized ? mol.release() : nullptr;
}

void C_freeMolecule(Molecule *mol) {
    freeMol(mol);
    staticFree();
}

int C_setName(Molecule *mol, const char *name) {
    OwnedBlock<char> copy;
    if (!mol || !copyText(name, copy)) return 0;
    replaceText(mol->name, copy);
    return 1;
}

int C_getName(Molecule *mol, const char **name) {
    if (!mol) return 0;
    put<const char *>(name, mol->name);
    return 1;
}

int C_setAtom(Molecule *mol, int index, int element, int frozen, const char *label, double x,
              double y, double z) {
    OwnedBlock<char> copy;
    if (!mol || !copyText(label, copy) || !growAtoms(*mol, index)) return 0;
    Atom &atom = mol->atoms[index];
    atom.element = element;
    atom.frozen = frozen;
    replaceText(atom.label, copy);
    atom.x = x;
    atom.y = y;
    atom.z = z;
    return 1;
}

int C_getAtom(Molecule *mol, int index, int *element, int *frozen, const char **label, double *x,
              double *y, double *z) {
    if (!mol || !covered(index, mol->atomCount)) return 0;
    const Atom &atom = mol->atoms[index];
    put(element, atom.element);
    put(frozen, atom.frozen);
    put<const char *>(label, atom.label);
    put(x, atom.x);
    put(y, atom.y);
    put(z, atom.z);
    return 1;
}

int C_setBond(Molecule *mol, int index, int atom1, int atom2, int type) {
    // Each bond has memory of its own, so that a wild index would take all there is.
    constexpr int mostAtOnce = 65535;
    if (!mol || (index >= mostAtOnce && index - mostAtOnce >= mol->bondCount)) return 0;
    if (!growBonds(*mol, index)) return 0;
    Bond &bond = *mol->bonds[index];
    bond.atom1 = atom1;
    bond.atom2 = atom2;
    bond.type = type;
    return 1;
}

int C_getBond(Molecule *mol, int index, int *atom1, int *atom2, int *type) {
    if (!mol || !covered(index, mol->bondCount)) return 0;
    const Bond &bond = *mol->bonds[index];
    put(atom1, bond.atom1);
    put(atom2, bond.atom2);
    put(type, bond.type);
    return 1;
}

int C_setConstraint(Molecule *mol, int index, int a, int b, int c, int d, double value,
                    double parameter) {
    if (!mol || !growConstraints(*mol, index)) return 0;
    Constraint &constraint = mol->constraints[index];
    constraint.a = a;
    constraint.b = b;
    constraint.c = c;
    constraint.d = d;
    constraint.value = value;
    constraint.parameter = parameter;
    return 1;
}

int C_getConstraint(Molecule *mol, int index, int *a, int *b, int *c, int *d, double *value,
                    double *parameter) {
    if (!mol || !covered(index, mol->constraintCount)) return 0;
    const Constraint &constraint = mol->constraints[index];
    put(a, constraint.a);
    put(b, constraint.b);
    put(c, constraint.c);
    put(d, constraint.d);
    put(value, constraint.value);
    put(parameter, constraint.parameter);
    return 1;
}

int C_setTransition(Molecule *mol, int index, int breakA, int breakB, int formA, int formB) {
    if (!mol || !growTransitions(*mol, index)) return 0;
    mol->transitions[index] = {breakA, breakB, formA, formB};
    return 1;
}

int C_getTransition(Molecule *mol, int index, int *breakA, int *breakB, int *formA, int *formB) {
    if (!mol || !covered(index, mol->transitionCount)) return 0;
    const Transition &transition = mol->transitions[index];
    put(breakA, transition.breakA);
    put(breakB, transition.breakB);
    put(formA, transition.formA);
    put(formB, transition.formB);
    return 1;
}
