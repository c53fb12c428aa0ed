#include "molecule/bondlink.hpp"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <cstddef>

namespace {

using namespace saddlefit;

/// What the index really is: the lists that `Molecule.bondlink` points at, and in front of them
/// their number, for the molecule may have grown since without telling the index.
struct BondlinkBlock {
    std::size_t slots;
    BondlinkNode *heads[1];
};

constexpr std::size_t headsOffset = offsetof(BondlinkBlock, heads);

BondlinkBlock *blockOf(BondlinkNode **heads) {
    return reinterpret_cast<BondlinkBlock *>(reinterpret_cast<char *>(heads) - headsOffset);
}

BondlinkBlock *resizedBlock(BondlinkBlock *block, std::size_t slots) {
    void *resized = std::realloc(block, headsOffset + slots * sizeof(BondlinkNode *));
    return static_cast<BondlinkBlock *>(resized);
}

std::span<BondlinkNode *> listsOf(const Molecule &mol) {
    return {mol.bondlink, blockOf(mol.bondlink)->slots};
}

bool appendNode(BondlinkNode **list, Bond *bond) {
    auto *node = allocateArray<BondlinkNode>(1);
    if (!node) return false;
    node->bond = bond;
    while (*list)
        list = &(*list)->next;
    *list = node;
    return true;
}

void dropNodes(BondlinkNode **link, const Bond *bond) {
    while (BondlinkNode *node = *link) {
        if (node->bond != bond) {
            link = &node->next;
            continue;
        }
        *link = node->next;
        std::free(node);
    }
}

bool appendToBoth(Molecule &mol, Bond *bond) {
    return appendNode(&mol.bondlink[bond->atom1], bond) &&
           appendNode(&mol.bondlink[bond->atom2], bond);
}

bool namesExistingAtoms(const Molecule &mol, const Bond &bond) {
    return hasAtom(mol, bond.atom1) && hasAtom(mol, bond.atom2);
}

/// Appending at the tail of a list walks it, which costs the square of an atom's bonds; a record
/// with 65,535 bonds on one atom would take seconds. So the tails are remembered while building.
bool linkAll(Molecule &mol) {
    const auto slots = static_cast<std::size_t>(bondlinkSlots(mol));
    OwnedBlock<BondlinkNode **> tails(allocateArray<BondlinkNode **>(slots));
    if (!tails) return false;
    for (std::size_t i = 0; i < slots; ++i)
        tails.get()[i] = &mol.bondlink[i];
    const auto append = [&](int atom, Bond *bond) {
        BondlinkNode **&tail = tails.get()[atom];
        if (!appendNode(tail, bond)) return false;
        tail = &(*tail)->next;
        return true;
    };
    for (Bond *bond : bondsOf(mol)) {
        if (bond->atom1 == bond->atom2 || !namesExistingAtoms(mol, *bond)) continue;
        if (!append(bond->atom1, bond) || !append(bond->atom2, bond)) return false;
    }
    return true;
}

} // namespace

namespace saddlefit {

int bondlinkSlots(const Molecule &mol) {
    if (!mol.bondlink) return 0;
    return std::min(static_cast<int>(blockOf(mol.bondlink)->slots), std::max(mol.atomCount, 0));
}

bool bondlinkOutlivesAtoms(const Molecule &mol) {
    return mol.bondlink && static_cast<int>(blockOf(mol.bondlink)->slots) > mol.atomCount;
}

bool growBondlink(Molecule &mol) {
    BondlinkBlock *block = blockOf(mol.bondlink);
    const auto wanted = static_cast<std::size_t>(std::max(mol.atomCount, 0));
    if (block->slots >= wanted) return true;
    block = resizedBlock(block, wanted);
    if (!block) return false;
    mol.bondlink = block->heads;
    std::fill(block->heads + block->slots, block->heads + wanted, nullptr);
    block->slots = wanted;
    return true;
}

void linkBond(Molecule &mol, Bond *bond) {
    if (!namesExistingAtoms(mol, *bond)) return;
    if (!growBondlink(mol) || !appendToBoth(mol, bond)) freeBondlink(&mol);
}

void unlinkBond(Molecule &mol, const Bond *bond) {
    for (BondlinkNode *&head : listsOf(mol))
        dropNodes(&head, bond);
}

void removeCondemned(Molecule &mol, bool (*condemned)(const Bond &)) {
    const auto bonds = bondsOf(mol);
    int kept = 0;
    for (Bond *bond : bonds) {
        if (!condemned(*bond)) {
            mol.bonds[kept++] = bond;
            continue;
        }
        for (const int end : {bond->atom1, bond->atom2})
            if (hasAtom(mol, end)) dropNodes(&mol.bondlink[end], bond);
        freeBond(bond);
        std::free(bond);
    }
    mol.bondCount = kept;
    resizeArray(mol.bonds, static_cast<std::size_t>(kept));
}

} // namespace saddlefit

int createBondlink(Molecule *mol) {
    freeBondlink(mol);
    const auto slots = static_cast<std::size_t>(std::max(mol->atomCount, 0));
    BondlinkBlock *block = resizedBlock(nullptr, slots);
    if (!block) return failed;
    block->slots = slots;
    std::fill(block->heads, block->heads + slots, nullptr);
    mol->bondlink = block->heads;
    if (!linkAll(*mol)) {
        freeBondlink(mol);
        return failed;
    }
    mol->bondlinkBuilt = 1;
    return 1;
}

void freeBondlink(Molecule *mol) {
    if (!mol->bondlink) return;
    for (BondlinkNode *node : listsOf(*mol)) {
        while (node) {
            BondlinkNode *next = node->next;
            std::free(node);
            node = next;
        }
    }
    std::free(blockOf(mol->bondlink));
    mol->bondlink = nullptr;
}

Bond *getBond(Molecule *mol, int a, int b) {
    if (!mol->bondlink) {
        const int position = getBondNumber(mol, a, b);
        return position < 0 ? nullptr : mol->bonds[position];
    }
    for (const auto [bond, neighbour] : neighboursOf(*mol, a))
        if (neighbour == b) return bond;
    return nullptr;
}

int getBondNumber(Molecule *mol, int a, int b) {
    const auto bonds = bondsOf(*mol);
    const auto found = std::ranges::find_if(bonds, [&](Bond *bond) { return joins(*bond, a, b); });
    return found == bonds.end() ? failed : static_cast<int>(found - bonds.begin());
}

int getBondAdjAtom(Molecule *mol, Bond *excluded, int atom) {
    int heaviest = -1;
    for (const auto [bond, neighbour] : neighboursOf(*mol, atom)) {
        if (bond == excluded) continue;
        if (heaviest < 0 || mol->atoms[neighbour].element > mol->atoms[heaviest].element)
            heaviest = neighbour;
    }
    return heaviest;
}
