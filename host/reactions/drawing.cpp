#include "host/reactions/drawing.hpp"

#include "host/structures/smiles.hpp"
#include "host/system/error.hpp"

#include <algorithm>
#include <map>
#include <set>

namespace saddlefit::host {

namespace {

constexpr int tripleType = 3;

bool carryOppositeCharges(const StructureAtom &a, const StructureAtom &b) {
    return (a.charge > 0 && b.charge < 0) || (a.charge < 0 && b.charge > 0);
}

void joinCharges(StructureAtom &a, StructureAtom &b) {
    a.charge += a.charge < 0 ? 1 : -1;
    b.charge += b.charge < 0 ? 1 : -1;
}

// Those of two neighbouring radicals, where they are marked.
void pairElectrons(Structure &side, const StructureBond &bond) {
    if (side.radicals.empty()) return;
    for (const int atom : {bond.atom1, bond.atom2}) {
        auto &unpaired = side.radicals[static_cast<std::size_t>(atom)];
        unpaired = std::max(unpaired - 1, 0);
    }
}

// The bonds that the other side has too, by ascending atom pair.
std::vector<StructureBond *> lastingBonds(std::vector<StructureBond> &bonds,
                                          const std::vector<StructureBond> &others) {
    std::set<AtomPair> lasting;
    for (const auto &bond : others)
        lasting.insert(orderedPair(bond.atom1, bond.atom2));
    std::vector<StructureBond *> sorted;
    for (auto &bond : bonds) {
        if (lasting.contains(orderedPair(bond.atom1, bond.atom2))) sorted.push_back(&bond);
    }
    std::sort(sorted.begin(), sorted.end(), [](const auto *a, const auto *b) {
        return orderedPair(a->atom1, a->atom2) < orderedPair(b->atom1, b->atom2);
    });
    return sorted;
}

// A walk over bonds that rise and fall in turn.
class RingSearch {
public:
    explicit RingSearch(const std::vector<BondChange> &changes) {
        for (const auto &change : changes) {
            if (change.before == 0 || change.after == 0) continue;
            if (change.before == aromaticType || change.after == aromaticType) continue;
            const int step = change.after - change.before;
            if (std::abs(step) == 1) add(change.atoms, step);
        }
    }

    // The bonds of a ring that begins with this rising bond; empty if there is none.
    std::vector<AtomPair> ringFrom(const AtomPair &bond) {
        path_ = {bond.first, bond.second};
        if (!closes(-1)) return {};
        std::vector<AtomPair> ring;
        for (std::size_t i = 0; i < path_.size(); ++i)
            ring.push_back(orderedPair(path_[i], path_[(i + 1) % path_.size()]));
        return ring;
    }

private:
    void add(const AtomPair &atoms, int step) {
        neighbours_[{atoms.first, step}].push_back(atoms.second);
        neighbours_[{atoms.second, step}].push_back(atoms.first);
    }

    bool closes(int step) {
        for (const int next : neighbours_[{path_.back(), step}]) {
            if (next == path_.front() && step < 0 && path_.size() > 2) return true;
            if (std::find(path_.begin(), path_.end(), next) != path_.end()) continue;
            path_.push_back(next);
            if (closes(-step)) return true;
            path_.pop_back();
        }
        return false;
    }

    std::map<std::pair<int, int>, std::vector<int>> neighbours_; // by atom and step
    std::vector<int> path_;
};

} // namespace

int usualValence(int element) {
    constexpr int carbon = 6, nitrogen = 7, oxygen = 8, fluorine = 9;
    switch (element) {
    case 1:
    case fluorine:
        return 1;
    case carbon:
        return 4;
    case nitrogen:
        return 3;
    case oxygen:
        return 2;
    default:
        return 0;
    }
}

int valenceLeft(const Structure &structure, int atom, int moreCharge) {
    const auto &[element, ownCharge, position] = structure.atoms[static_cast<std::size_t>(atom)];
    const int charge = ownCharge + moreCharge;
    int left = usualValence(element);
    if (left == 0) return 0;
    const bool gains = charge > 0 && left < usualValence(6) && element != 1;
    left += gains ? charge : -std::abs(charge);
    for (const auto &bond : structure.bonds) {
        if (bond.atom1 != atom && bond.atom2 != atom) continue;
        if (bond.type == aromaticType) return 0;
        left -= bond.type;
    }
    return left;
}

void joinSeparatedElectrons(Structure &side, const Structure &otherSide) {
    const auto bonds = lastingBonds(side.bonds, otherSide.bonds);
    const auto atomAt = [&](int index) -> StructureAtom & {
        return side.atoms[static_cast<std::size_t>(index)];
    };
    for (auto *bond : bonds) {
        auto &a = atomAt(bond->atom1), &b = atomAt(bond->atom2);
        while (bond->type < tripleType && carryOppositeCharges(a, b)) {
            joinCharges(a, b);
            ++bond->type;
        }
    }
    for (auto *bond : bonds) {
        while (bond->type < tripleType && valenceLeft(side, bond->atom1) > 0 &&
               valenceLeft(side, bond->atom2) > 0) {
            ++bond->type;
            pairElectrons(side, *bond);
        }
    }
}

void takeSmilesOrders(Structure &structure) {
    const auto field = structure.fields.find("MAPPED_SMILES");
    if (field == structure.fields.end()) return;
    const auto orders = mappedSmilesBonds(field->second, structure.origin);
    for (auto &bond : structure.bonds) {
        const auto found = orders.find(orderedPair(bond.atom1, bond.atom2));
        if (found == orders.end() || orders.size() != structure.bonds.size()) {
            throw Error("the bonds of MAPPED_SMILES are not those of the record; correct the field")
                .at(structure.origin)
                .about({bond.atom1, bond.atom2})
                .with(Remedy::harmonisedOrders);
        }
        bond.type = found->second;
    }
}

std::vector<BondChange> withoutRedrawnRings(const std::vector<BondChange> &changes) {
    RingSearch search(changes);
    std::set<AtomPair> redrawn;
    for (const auto &change : changes) {
        if (change.before == 0 || change.after != change.before + 1) continue;
        if (redrawn.contains(change.atoms)) continue;
        const auto ring = search.ringFrom(change.atoms);
        redrawn.insert(ring.begin(), ring.end());
    }
    std::vector<BondChange> kept;
    std::copy_if(changes.begin(), changes.end(), std::back_inserter(kept),
                 [&](const BondChange &change) { return !redrawn.contains(change.atoms); });
    return kept.empty() ? changes : kept;
}

} // namespace saddlefit::host
