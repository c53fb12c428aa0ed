/// A molecule's bonds by atom, laid side by side for a search that reads them over and over.
#pragma once

#include "molecule/ranges.hpp"

#include <algorithm>
#include <memory_resource>
#include <vector>

namespace saddlefit {

class BondTable {
public:
    struct Entry {
        int atom; ///< the neighbour
        int type;
    };

    /// Takes over the index of bonds, in its order.
    BondTable(const Molecule &mol, std::pmr::memory_resource &memory)
        : firsts_(&memory), entries_(&memory), mutual_(!bondlinkOutlivesAtoms(mol)) {
        const int slots = bondlinkSlots(mol);
        firsts_.reserve(atomsOf(mol).size() + 1);
        entries_.reserve(2 * bondsOf(mol).size());
        firsts_.push_back(0);
        for (int atom = 0; atom < mol.atomCount; ++atom) {
            if (atom < slots) takeOver(mol, atom);
            firsts_.push_back(entries_.size());
        }
    }

    /// The bonds of an atom; none for one that the molecule has not.
    std::span<const Entry> of(int atom) const {
        const auto slot = static_cast<std::size_t>(atom);
        if (atom < 0 || slot + 1 >= firsts_.size()) return {};
        return {entries_.data() + firsts_[slot], entries_.data() + firsts_[slot + 1]};
    }

    /// The first of an atom's bonds that leads to another one; null if there is none.
    static const Entry *leadingTo(int other, std::span<const Entry> bonds) {
        for (const Entry &entry : bonds)
            if (entry.atom == other) return &entry;
        return nullptr;
    }

    /// Whether each bond stands in the lists of both its atoms. One that was changed since it was
    /// listed need not, and one that joined an atom to itself stands twice in the same list.
    bool mutual() const { return mutual_; }

private:
    void takeOver(const Molecule &mol, int atom) {
        const Bond *previous = nullptr;
        for (const BondlinkNode *node = mol.bondlink[atom]; node; node = node->next) {
            const Bond &bond = *node->bond;
            const int neighbour = otherEnd(bond, atom);
            if (!hasAtom(mol, neighbour)) continue;
            entries_.push_back({neighbour, bond.type});
            mutual_ = mutual_ && joins(bond, atom, neighbour) && &bond != previous;
            previous = &bond;
        }
    }

    std::pmr::vector<std::size_t> firsts_; // by atom, and the end
    std::pmr::vector<Entry> entries_;
    bool mutual_; // a bond in a list beyond the atoms may since have been led to one of them
};

} // namespace saddlefit
