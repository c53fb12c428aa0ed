/// A molecule's bonds by atom, laid side by side for a search that reads them over and over.
#pragma once

#include "molecule/ranges.hpp"

#include <algorithm>
#include <vector>

namespace saddlefit {

class BondTable {
public:
    struct Entry {
        int atom; ///< the neighbour
        int type;
    };

    /// Takes over the index of bonds, in its order.
    explicit BondTable(const Molecule &mol) {
        firsts_.reserve(atomsOf(mol).size() + 1);
        entries_.reserve(2 * bondsOf(mol).size());
        firsts_.push_back(0);
        for (int atom = 0; atom < mol.atomCount; ++atom) {
            const Bond *previous = nullptr;
            for (const auto [bond, neighbour] : neighboursOf(mol, atom)) {
                entries_.push_back({neighbour, bond->type});
                mutual_ = mutual_ && joins(*bond, atom, neighbour) && bond != previous;
                previous = bond;
            }
            firsts_.push_back(entries_.size());
        }
    }

    /// The bonds of an atom; none for one that the molecule has not.
    std::span<const Entry> of(int atom) const {
        const auto slot = static_cast<std::size_t>(atom);
        if (atom < 0 || slot + 1 >= firsts_.size()) return {};
        return std::span(entries_).subspan(firsts_[slot], firsts_[slot + 1] - firsts_[slot]);
    }

    /// The first bond in an atom's list that leads to another one; null if there is none.
    const Entry *between(int atom, int other) const {
        for (const Entry &entry : of(atom))
            if (entry.atom == other) return &entry;
        return nullptr;
    }

    /// Whether each bond stands in the lists of both its atoms. One that was changed since it was
    /// listed need not, and one that joined an atom to itself stands twice in the same list.
    bool mutual() const { return mutual_; }

private:
    std::vector<std::size_t> firsts_; // by atom, and the end
    std::vector<Entry> entries_;
    bool mutual_ = true;
};

} // namespace saddlefit
