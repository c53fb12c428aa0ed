/// A molecule's bonds by atom, laid side by side for a search that reads them over and over.
#pragma once

#include "molecule/ranges.hpp"

#include <memory_resource>
#include <span>
#include <vector>

namespace saddlefit {

class BondTable {
public:
    struct Entry {
        int atom; ///< the neighbour
        int type;
    };

    /// Takes over the index of bonds, in its order.
    BondTable(const Molecule &mol, std::pmr::memory_resource &memory);

    /// The bonds of an atom; none for one that the molecule has not.
    std::span<const Entry> of(int atom) const {
        const auto slot = static_cast<std::size_t>(atom);
        if (slot >= firsts_.size() - 1) return {}; // negative ones are beyond it as well
        return {entries_.data() + firsts_[slot], entries_.data() + firsts_[slot + 1]};
    }

    /// The first of an atom's bonds that leads to another one; null if there is none.
    static const Entry *leadingTo(int other, std::span<const Entry> bonds) {
        for (const Entry &entry : bonds)
            if (entry.atom == other) return &entry;
        return nullptr;
    }

    /// Whether each bond stands once in the lists of both its atoms, and no two join the same
    /// atoms. One that was changed since it was listed need not stand in both, and one that joined
    /// an atom to itself stands twice in the same list.
    bool simple() const { return simple_; }

private:
    struct Progress;

    bool takeOverInStep(const Molecule &mol);
    bool layOut(const Molecule &mol);
    bool follow(const Bond &bond, int atom, int neighbour, Progress &list);
    void takeOverListByList(const Molecule &mol);
    void takeOver(const Molecule &mol, int atom);
    bool hasParallelBonds() const;

    /// Until all is taken over, the place of an atom's next entry is where the entries of the atom
    /// after it will begin.
    std::size_t &nextPlace(int atom) { return firsts_[static_cast<std::size_t>(atom) + 1]; }

    std::pmr::vector<std::size_t> firsts_; // by atom, and the end: never empty
    std::pmr::vector<Entry> entries_;
    bool simple_ = true;
};

} // namespace saddlefit
