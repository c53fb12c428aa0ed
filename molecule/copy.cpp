#include "molecule/copy.hpp"

#include "molecule/ranges.hpp"

#include <cstring>

namespace saddlefit {

namespace {

template <class T> void copyRecords(std::span<const T> records, T *&array, int &count) {
    if (records.empty()) return;
    array = copyOf(records).release();
    count = static_cast<int>(records.size());
}

/// The fields that are not pointers.
Atom ownFieldsOf(const Atom &atom) {
    Atom copy = atom;
    copy.label = nullptr;
    copy.atomData = nullptr;
    return copy;
}

} // namespace

OwnedMol copyOf(const Molecule &mol) {
    OwnedMol copy(createMol());
    if (!copy) throw std::bad_alloc();
    copy->name = copyOf(mol.name).release();
    copy->flags = mol.flags;
    copy->atoms = allocated<Atom>(atomsOf(mol).size());
    for (const Atom &atom : atomsOf(mol)) {
        Atom &made = copy->atoms[copy->atomCount++] = ownFieldsOf(atom);
        made.label = copyOf(atom.label).release();
    }
    copy->bonds = allocated<Bond *>(bondsOf(mol).size());
    for (const Bond *bond : bondsOf(mol)) {
        Bond *&made = copy->bonds[copy->bondCount] = allocated<Bond>(1);
        ++copy->bondCount;
        *made = *bond;
        made->bondData = nullptr;
    }
    copyRecords<Constraint>(constraintsOf(mol), copy->constraints, copy->constraintCount);
    copyRecords<Transition>(transitionsOf(mol), copy->transitions, copy->transitionCount);
    return copy;
}

OwnedBlock<char> copyOf(const char *text) {
    if (!text) return nullptr;
    return copyOf(std::span<const char>(text, std::strlen(text) + 1));
}

} // namespace saddlefit
