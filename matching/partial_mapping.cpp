#include "matching/partial_mapping.hpp"

#include <algorithm>

namespace saddlefit {
namespace {

/// Gives a map entry its value back at the end of the scope, however that is left.
class RestoredEntry {
public:
    explicit RestoredEntry(int &entry) : entry_(entry), value_(entry) {}
    ~RestoredEntry() { entry_ = value_; }
    RestoredEntry(const RestoredEntry &) = delete;
    RestoredEntry &operator=(const RestoredEntry &) = delete;

private:
    int &entry_;
    int value_;
};

/// Whether every bond of an atom to a mapped one has its like between their partners.
bool bondsHaveTheirLike(const BondTable &own, int atom, std::span<const int> partners,
                        const BondTable &other, int partner, bool anyType) {
    for (const auto &[neighbour, type] : own.of(atom)) {
        const int far = partners[static_cast<std::size_t>(neighbour)];
        if (!hasPartner(far)) continue;
        const BondTable::Entry *like = other.between(partner, far);
        if (!like) return false;
        if (!anyType && like->type != type) return false;
    }
    return true;
}

/// Whether the mapped neighbours of an atom still agree once it has taken its partner.
bool neighboursKeepHandedness(const PartialMapping &mapping, int atom, int partner) {
    const RestoredEntry code(mapping.partnerOf(atom));
    const RestoredEntry inverseCode(mapping.patternAtomOn(partner));
    mapping.partnerOf(atom) = partner;
    mapping.patternAtomOn(partner) = atom;
    for (const auto &bond : mapping.patternBonds.of(atom)) {
        const int centrePartner = mapping.partnerOf(bond.atom);
        if (!hasPartner(centrePartner)) continue;
        if (!chiralityAgrees(mapping, bond.atom, centrePartner)) return false;
    }
    return true;
}

/// The neighbours of a four-coordinate centre and those of its partner, in the same order; the
/// one without partner, if there is one, stands last.
struct PairedNeighbours {
    std::array<const Atom *, 4> own;
    std::array<const Atom *, 4> far;
};

/// The only neighbour in the target that is nobody's partner; null if there is none or several.
const Atom *onlyFreeNeighbour(const PartialMapping &mapping, int partner) {
    const Atom *free = nullptr;
    for (const auto &bond : mapping.targetBonds.of(partner)) {
        if (hasPartner(mapping.patternAtomOn(bond.atom))) continue;
        if (free) return nullptr;
        free = &mapping.target.atoms[bond.atom];
    }
    return free;
}

/// False unless all four places are known on both sides.
bool pairNeighbours(const PartialMapping &mapping, int centre, int partner,
                    PairedNeighbours &pairs) {
    const auto bonds = mapping.patternBonds.of(centre);
    if (bonds.size() != pairs.own.size()) return false;
    std::size_t paired = 0;
    const Atom *unpaired = nullptr;
    for (const auto &bond : bonds) {
        const Atom *atom = &mapping.pattern.atoms[bond.atom];
        const int far = mapping.partnerOf(bond.atom);
        if (!hasPartner(far)) {
            if (unpaired) return false;
            unpaired = atom;
            continue;
        }
        if (!hasAtom(mapping.target, far)) return false;
        pairs.own[paired] = atom;
        pairs.far[paired++] = &mapping.target.atoms[far];
    }
    if (!unpaired) return true;
    pairs.own[paired] = unpaired;
    pairs.far[paired] = onlyFreeNeighbour(mapping, partner);
    return pairs.far[paired] != nullptr;
}

} // namespace

int CodeTally::lowest() const {
    if (unknown() > 0) return *std::min_element(map_.begin(), map_.end());
    for (int code = MAP_REQUIRED; code < 0; ++code)
        if (of(code) > 0) return code;
    return 0;
}

PartialMapping::PartialMapping(const Molecule &A, const Molecule &B, std::span<int> codes,
                               std::span<int> inverseCodes, bool checksChirality)
    : pattern(A),
      target(B),
      patternBonds(A),
      targetBonds(B),
      checkChirality(checksChirality),
      map(codes),
      inverse(inverseCodes),
      codes_(map),
      inverseCodes_(inverse),
      openNeighbours_(map.size()),
      boundary_(map.size()),
      regular_(codes_.unknown() == 0 && patternBonds.mutual() && targetBonds.mutual()) {
    for (int atom = 0; atom < pattern.atomCount; ++atom) {
        for (const auto &bond : patternBonds.of(atom))
            openNeighbours_[static_cast<std::size_t>(atom)] += isOpen(partnerOf(bond.atom));
        if (hasPartner(partnerOf(atom))) boundary_.include(atom);
    }
}

void PartialMapping::place(int atom, int partner) {
    codes_.remove(partnerOf(atom));
    inverseCodes_.remove(patternAtomOn(partner));
    partnerOf(atom) = partner;
    patternAtomOn(partner) = atom;
    changeNeighbours(atom, -1);
    updateBoundary(atom);
}

void PartialMapping::takeBack(int atom, int code, int partnerCode) {
    patternAtomOn(partnerOf(atom)) = partnerCode;
    inverseCodes_.add(partnerCode);
    partnerOf(atom) = code;
    codes_.add(code);
    changeNeighbours(atom, 1);
    updateBoundary(atom);
}

void PartialMapping::leaveOut(int atom) {
    codes_.remove(partnerOf(atom));
    partnerOf(atom) = MAP_SKIP;
    codes_.add(MAP_SKIP);
    changeNeighbours(atom, -1);
}

void PartialMapping::reopen(int atom, int code) {
    codes_.remove(MAP_SKIP);
    partnerOf(atom) = code;
    codes_.add(code);
    changeNeighbours(atom, 1);
}

void PartialMapping::changeNeighbours(int atom, int change) {
    for (const auto &bond : patternBonds.of(atom)) {
        openNeighbours_[static_cast<std::size_t>(bond.atom)] += change;
        updateBoundary(bond.atom);
    }
}

/// Where neighbours cannot be counted from their own side, every atom with a partner belongs.
void PartialMapping::updateBoundary(int atom) {
    const bool mayHaveOpen =
        openNeighbours_[static_cast<std::size_t>(atom)] > 0 || !patternBonds.mutual();
    if (hasPartner(partnerOf(atom)) && mayHaveOpen)
        boundary_.include(atom);
    else
        boundary_.exclude(atom);
}

bool fits(const PartialMapping &mapping, int atom, int partner) {
    const int code = mapping.partnerOf(atom);
    if (!elementsAgree(code, mapping.pattern.atoms[atom], mapping.target.atoms[partner]))
        return false;
    const bool anyType = isRelaxed(code);
    return bondsHaveTheirLike(mapping.patternBonds, atom, mapping.map, mapping.targetBonds, partner,
                              anyType) &&
           bondsHaveTheirLike(mapping.targetBonds, partner, mapping.inverse, mapping.patternBonds,
                              atom, anyType);
}

bool canMapAtom(const PartialMapping &mapping, int atom, int partner) {
    if (!fits(mapping, atom, partner)) return false;
    if (!mapping.checkChirality) return true;
    return neighboursKeepHandedness(mapping, atom, partner) &&
           chiralityAgrees(mapping, atom, partner);
}

bool chiralityAgrees(const PartialMapping &mapping, int centre, int partner) {
    if (!hasAtom(mapping.target, partner)) return true;
    PairedNeighbours pairs;
    if (!pairNeighbours(mapping, centre, partner, pairs)) return true;
    const auto handedness = [](const Atom &middle, const std::array<const Atom *, 4> &around) {
        return calcChirality(&middle, around[0], around[1], around[2], around[3]);
    };
    const int own = handedness(mapping.pattern.atoms[centre], pairs.own);
    const int far = handedness(mapping.target.atoms[partner], pairs.far);
    return own == 0 || far == 0 || own == far;
}

} // namespace saddlefit
