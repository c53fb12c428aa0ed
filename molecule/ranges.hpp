/// Walks over a molecule that read as range-for loops and never leave its arrays.
#pragma once

#include "saddlefit/molecule.h"

#include <array>
#include <cstddef>
#include <iterator>
#include <span>

namespace saddlefit {

/// What exported functions answer where there is no memory for an index of bonds, no such bond, or
/// where a mapping was interrupted.
constexpr int failed = -10;

inline bool hasAtom(const Molecule &mol, int atom) {
    return atom >= 0 && atom < mol.atomCount;
}

/// The atom that an index names: a transition may name one that the molecule has not, and that
/// counts as none.
inline int atomOrNone(const Molecule &mol, int atom) {
    return hasAtom(mol, atom) ? atom : -1;
}

/// Atomic number of an atom; 0, unknown, for one that the molecule has not.
inline int elementOf(const Molecule &mol, int atom) {
    return hasAtom(mol, atom) ? mol.atoms[atom].element : 0;
}

template <class T> std::span<T> countedSpan(T *first, int count) {
    return count > 0 ? std::span<T>(first, static_cast<std::size_t>(count)) : std::span<T>();
}

inline std::span<Atom> atomsOf(const Molecule &mol) {
    return countedSpan(mol.atoms, mol.atomCount);
}
inline std::span<Bond *> bondsOf(const Molecule &mol) {
    return countedSpan(mol.bonds, mol.bondCount);
}
inline std::span<Constraint> constraintsOf(const Molecule &mol) {
    return countedSpan(mol.constraints, mol.constraintCount);
}
inline std::span<Transition> transitionsOf(const Molecule &mol) {
    return countedSpan(mol.transitions, mol.transitionCount);
}

/// An atom's coordinates as the vector routines take them.
inline std::array<double, 3> positionOf(const Atom &atom) {
    return {atom.x, atom.y, atom.z};
}

inline bool joins(const Bond &bond, int a, int b) {
    return (bond.atom1 == a && bond.atom2 == b) || (bond.atom1 == b && bond.atom2 == a);
}

/// The atom at the far end of a bond, seen from `atom`.
inline int otherEnd(const Bond &bond, int atom) {
    return bond.atom1 == atom ? bond.atom2 : bond.atom1;
}

/// Number of atoms that the index of bonds has a list for; it may lag behind atomCount.
int bondlinkSlots(const Molecule &mol);

/// Whether the index has lists for atoms that the molecule has not any more.
bool bondlinkOutlivesAtoms(const Molecule &mol);

/// The head of an atom's list; null for an atom without bonds, without a list or without an index.
inline BondlinkNode *firstLink(const Molecule &mol, int atom) {
    return atom >= 0 && atom < bondlinkSlots(mol) ? mol.bondlink[atom] : nullptr;
}

struct Neighbour {
    Bond *bond;
    int atom;
};

/// An atom's bonds, each with the atom at its other end, in the order of the index. A bond changed
/// since the index was built may name an atom that does not exist; it is passed over.
class Neighbours {
public:
    class Iterator {
    public:
        using value_type = Neighbour;
        using difference_type = std::ptrdiff_t;

        Iterator() = default;
        Iterator(const Molecule *mol, BondlinkNode *node, int centre)
            : mol_(mol), node_(node), centre_(centre) {
            passOverMissing();
        }
        Neighbour operator*() const { return {node_->bond, otherEnd(*node_->bond, centre_)}; }
        Iterator &operator++() {
            node_ = node_->next;
            passOverMissing();
            return *this;
        }
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator &other) const { return node_ == other.node_; }

    private:
        void passOverMissing() {
            while (node_ && !hasAtom(*mol_, otherEnd(*node_->bond, centre_)))
                node_ = node_->next;
        }

        const Molecule *mol_ = nullptr;
        BondlinkNode *node_ = nullptr;
        int centre_ = -1;
    };

    Neighbours(const Molecule &mol, int centre) : first_(&mol, firstLink(mol, centre), centre) {}
    Iterator begin() const { return first_; }
    Iterator end() const { return {}; }
    bool empty() const { return begin() == end(); }

private:
    Iterator first_;
};

inline Neighbours neighboursOf(const Molecule &mol, int atom) {
    return {mol, atom};
}

/// Build the index of bonds unless there is one; false if there is no memory for it.
inline bool ensureBondlink(Molecule &mol) {
    return mol.bondlink || createBondlink(&mol) != failed;
}

} // namespace saddlefit
