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

/// Whether every entry with a partner is that partner's partner.
bool answersTo(std::span<const int> map, std::span<const int> inverse) {
    for (std::size_t i = 0; i < map.size(); ++i) {
        if (!hasPartner(map[i])) continue;
        const auto partner = static_cast<std::size_t>(map[i]);
        if (partner >= inverse.size() || inverse[partner] != static_cast<int>(i)) return false;
    }
    return true;
}

} // namespace

int CodeTally::lowest() const {
    if (unknown() > 0) return *std::min_element(map_.begin(), map_.end());
    for (int code = MAP_REQUIRED; code < 0; ++code)
        if (of(code) > 0) return code;
    return 0;
}

/// Mostly many values in a row are the same.
CodeTally::CodeTally(std::span<const int> map) : map_(map) {
    for (auto run = map.begin(); run != map.end();) {
        const auto end = std::find_if(run, map.end(), [=](int value) { return value != *run; });
        count(*run, static_cast<int>(end - run));
        run = end;
    }
}

PartialMapping::PartialMapping(const Molecule &A, const Molecule &B, std::span<int> codes,
                               std::span<int> inverseCodes, bool checksChirality,
                               std::pmr::memory_resource &memory)
    : pattern(A),
      target(B),
      patternBonds(A, memory),
      targetBonds(B, memory),
      checkChirality(checksChirality),
      map(codes),
      inverse(inverseCodes),
      codes_(map),
      inverseCodes_(inverse),
      boundary_(map.size(), memory),
      regular_(codes_.unknown() == 0 && patternBonds.simple() && targetBonds.simple() &&
               answersTo(map, inverse) && answersTo(inverse, map)),
      strict_(regular_ && codes_.relaxed() == 0),
      oneNeighbour_(regular_ ? 1 : 0),
      around_(map.size(), &memory),
      siteKeys_(inverse.size(), &memory) {
    if (strict_) startKeys();
    for (int atom = 0; atom < pattern.atomCount; ++atom)
        lookAround(atom);
}

void PartialMapping::startKeys() {
    const auto element = [](const Atom &atom) {
        return Key{static_cast<std::uint32_t>(atom.element)} << 32;
    };
    for (std::size_t atom = 0; atom < around_.size(); ++atom)
        around_[atom].key = element(pattern.atoms[atom]);
    for (std::size_t site = 0; site < siteKeys_.size(); ++site)
        siteKeys_[site] = element(target.atoms[site]);
}

/// Makes an atom known to its neighbours, and those of its partner.
void PartialMapping::lookAround(int atom) {
    const auto bonds = patternBonds.of(atom);
    int &open = around(atom).open;
    open = static_cast<int>(bonds.size());
    if (openAtoms() == pattern.atomCount) return;
    for (const auto &bond : bonds) {
        open -= isOpen(partnerOf(bond.atom)) ? 0 : 1;
        around(atom).key += hasPartner(partnerOf(bond.atom)) ? oneNeighbour_ : 0;
    }
    if (!hasPartner(partnerOf(atom))) return;
    boundary_.include(atom);
    if (regular_) countWithSites(partnerOf(atom), oneNeighbour_);
}

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
