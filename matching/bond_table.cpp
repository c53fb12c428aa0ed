#include "matching/bond_table.hpp"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>

namespace saddlefit {

/// How far an atom's list has been followed.
struct BondTable::Progress {
    Progress(const BondlinkNode *list) : rest(list) {}

    bool mayHold(int neighbour) const { return (neighbours & bitOf(neighbour)) != 0; }
    static std::uint64_t bitOf(int neighbour) { return std::uint64_t{1} << (neighbour % 64); }

    const BondlinkNode *rest;
    std::uint64_t neighbours = 0; // those met so far, by their last six bits
};

BondTable::BondTable(const Molecule &mol, std::pmr::memory_resource &memory)
    : firsts_(&memory), entries_(&memory) {
    if (!takeOverInStep(mol)) takeOverListByList(mol);
}

/// Most lists name an atom's bonds in the order of the molecule. To follow all of them at once,
/// bond by bond, is then several times faster than one after the other, each to an end that the
/// processor cannot foresee. False if some list is not so.
bool BondTable::takeOverInStep(const Molecule &mol) {
    if (bondlinkSlots(mol) != mol.atomCount || !layOut(mol)) return false;
    std::pmr::vector<Progress> lists(mol.bondlink, mol.bondlink + mol.atomCount,
                                     firsts_.get_allocator());
    bool mayBeParallel = false;
    for (const Bond *bond : bondsOf(mol)) {
        Progress &list1 = lists[static_cast<std::size_t>(bond->atom1)];
        Progress &list2 = lists[static_cast<std::size_t>(bond->atom2)];
        mayBeParallel |= list1.mayHold(bond->atom2) && list2.mayHold(bond->atom1);
        if (!follow(*bond, bond->atom1, bond->atom2, list1) ||
            !follow(*bond, bond->atom2, bond->atom1, list2))
            return false;
    }
    firsts_.pop_back();
    simple_ = !mayBeParallel || !hasParallelBonds();
    return std::all_of(lists.begin(), lists.end(), [](auto &list) { return !list.rest; });
}

/// Makes room for two entries a bond.
bool BondTable::layOut(const Molecule &mol) {
    firsts_.resize(atomsOf(mol).size() + 2);
    for (const Bond *bond : bondsOf(mol)) {
        if (!hasAtom(mol, bond->atom1) || !hasAtom(mol, bond->atom2)) return false;
        if (bond->atom1 == bond->atom2) return false;
        ++nextPlace(bond->atom1 + 1);
        ++nextPlace(bond->atom2 + 1);
    }
    std::partial_sum(firsts_.begin(), firsts_.end(), firsts_.begin());
    entries_.resize(firsts_.back());
    return true;
}

/// Enters a bond if it is the next in an atom's list.
bool BondTable::follow(const Bond &bond, int atom, int neighbour, Progress &list) {
    if (!list.rest || list.rest->bond != &bond) return false;
    list.rest = list.rest->next;
    list.neighbours |= Progress::bitOf(neighbour);
    entries_[nextPlace(atom)++] = {neighbour, bond.type};
    return true;
}

void BondTable::takeOverListByList(const Molecule &mol) {
    const int slots = bondlinkSlots(mol);
    // A bond in a list beyond the atoms may since have been led to one of them.
    simple_ = !bondlinkOutlivesAtoms(mol);
    entries_.clear();
    firsts_.assign(1, 0);
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        if (atom < slots) takeOver(mol, atom);
        firsts_.push_back(entries_.size());
    }
    simple_ = simple_ && !hasParallelBonds();
}

void BondTable::takeOver(const Molecule &mol, int atom) {
    for (const BondlinkNode *node = mol.bondlink[atom]; node; node = node->next) {
        const Bond &bond = *node->bond;
        const int neighbour = otherEnd(bond, atom);
        if (!hasAtom(mol, neighbour)) continue;
        entries_.push_back({neighbour, bond.type});
        simple_ = simple_ && joins(bond, atom, neighbour);
    }
}

bool BondTable::hasParallelBonds() const {
    const int atoms = static_cast<int>(firsts_.size()) - 1;
    std::pmr::vector<int> lastFrom(static_cast<std::size_t>(atoms), -1, firsts_.get_allocator());
    for (int atom = 0; atom < atoms; ++atom)
        for (const Entry &bond : of(atom))
            if (std::exchange(lastFrom[static_cast<std::size_t>(bond.atom)], atom) == atom)
                return true;
    return false;
}

} // namespace saddlefit
