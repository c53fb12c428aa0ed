#include "matching/mapping.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace saddlefit {
namespace {

/// Blocks of the scratch registry, kept from search to search. After a staticFree() the pointers
/// are stale, and staticMalloc() answers them with new blocks.
struct PickerScratch {
    int *start = nullptr;
    int *next = nullptr;
};
PickerScratch pickerScratch;

std::span<int> scratchList(int *&block, const Molecule &target) {
    const std::size_t length = atomsOf(target).size();
    const std::size_t bytes = std::max<std::size_t>(length, 1) * sizeof(int);
    if (!std::in_range<int>(bytes)) throw std::bad_alloc();
    block = static_cast<int *>(staticMalloc(block, static_cast<int>(bytes)));
    if (!block) throw std::bad_alloc();
    return {block, length};
}

/// A candidate list that is being made in scratch.
class ScratchList {
public:
    explicit ScratchList(std::span<int> room) : room_(room) {}

    bool full() const { return count_ == room_.size(); }
    std::size_t size() const { return count_; }
    void add(int atom) { room_[count_++] = atom; }
    std::span<const int> atoms() const { return room_.first(count_); }

private:
    std::span<int> room_;
    std::size_t count_ = 0;
};

/// The atom with the fewest candidates, of equal ones the first; its list lies on the stack.
class FewestCandidates {
public:
    explicit FewestCandidates(std::vector<int> &stack) : stack_(stack), base_(stack.size()) {}

    int atom() const { return atom_; }

    /// A list as long as this, finished or not, is out of the running.
    bool beats(std::size_t length) const { return atom_ >= 0 && stack_.size() - base_ <= length; }

    void offer(int atom, const ScratchList &list) {
        if (list.size() == 0 || beats(list.size())) return;
        stack_.resize(base_);
        stack_.insert(stack_.end(), list.atoms().begin(), list.atoms().end());
        atom_ = atom;
    }

private:
    std::vector<int> &stack_;
    std::size_t base_;
    int atom_ = -1;
};

bool elementsAgree(int code, const Atom &atom, const Atom &partner) {
    switch (code) {
    case MAP_REQUIRED_ANY:
    case MAP_OPTIONAL_ANY:
        return true;
    case MAP_REQUIRED_HEAVY:
    case MAP_OPTIONAL_HEAVY:
        return atom.element < 2 || (partner.element != 0 && partner.element != 1);
    default:
        return atom.element == partner.element;
    }
}

/// Whether every bond of an atom to a mapped one has its like between their partners.
bool bondsAgree(Molecule &own, int atom, std::span<const int> partners, Molecule &other,
                int partner, bool anyType) {
    for (const Neighbour neighbour : neighboursOf(own, atom)) {
        const int far = partners[static_cast<std::size_t>(neighbour.atom)];
        if (!hasPartner(far)) continue;
        const Bond *like = getBond(&other, partner, far);
        if (!like) return false;
        if (!anyType && like->type != neighbour.bond->type) return false;
    }
    return true;
}

/// Whether the mapped neighbours of an atom still agree once it has taken its partner.
bool neighboursKeepHandedness(const PartialMapping &mapping, int atom, int partner) {
    const RestoredEntry code(mapping.partnerOf(atom));
    const RestoredEntry inverseCode(mapping.patternAtomOn(partner));
    mapping.partnerOf(atom) = partner;
    mapping.patternAtomOn(partner) = atom;
    for (const Neighbour neighbour : neighboursOf(mapping.pattern, atom)) {
        const int centrePartner = mapping.partnerOf(neighbour.atom);
        if (!hasPartner(centrePartner)) continue;
        if (!chiralityAgrees(mapping, neighbour.atom, centrePartner)) return false;
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
    for (const Neighbour neighbour : neighboursOf(mapping.target, partner)) {
        if (hasPartner(mapping.patternAtomOn(neighbour.atom))) continue;
        if (free) return nullptr;
        free = &mapping.target.atoms[neighbour.atom];
    }
    return free;
}

/// False unless all four places are known on both sides.
bool pairNeighbours(const PartialMapping &mapping, int centre, int partner,
                    PairedNeighbours &pairs) {
    std::size_t bonds = 0;
    std::size_t paired = 0;
    const Atom *unpaired = nullptr;
    for (const Neighbour neighbour : neighboursOf(mapping.pattern, centre)) {
        if (bonds++ == pairs.own.size()) return false;
        const Atom *atom = &mapping.pattern.atoms[neighbour.atom];
        const int far = mapping.partnerOf(neighbour.atom);
        if (!hasPartner(far)) {
            if (unpaired) return false;
            unpaired = atom;
            continue;
        }
        if (!hasAtom(mapping.target, far)) return false;
        pairs.own[paired] = atom;
        pairs.far[paired++] = &mapping.target.atoms[far];
    }
    if (bonds < pairs.own.size()) return false;
    if (!unpaired) return true;
    pairs.own[paired] = unpaired;
    pairs.far[paired] = onlyFreeNeighbour(mapping, partner);
    return pairs.far[paired] != nullptr;
}

/// Candidates of an atom next to a mapped one: the neighbours of that one's partner with the code
/// that is on offer. Once the target has no code left, the offered 0 is the mark of atom 0's
/// partner, which may then serve a second atom.
void listNextTo(const PartialMapping &mapping, int anchor, int atom, int offeredCode,
                const FewestCandidates &fewest, ScratchList &list) {
    for (const Neighbour beside : neighboursOf(mapping.target, anchor)) {
        if (list.full() || fewest.beats(list.size())) return;
        if (mapping.patternAtomOn(beside.atom) != offeredCode) continue;
        if (canMapAtom(mapping, atom, beside.atom)) list.add(beside.atom);
    }
}

/// Offers the candidates of every atom of one code that is bonded to the mapped part; whether
/// there is such an atom.
bool offerBonded(const PartialMapping &mapping, int code, int offeredCode, std::span<int> room,
                 FewestCandidates &fewest) {
    bool bonded = false;
    for (int atom = 0; atom < mapping.pattern.atomCount; ++atom) {
        const int partner = mapping.partnerOf(atom);
        if (!hasPartner(partner)) continue;
        for (const Neighbour next : neighboursOf(mapping.pattern, atom)) {
            if (mapping.partnerOf(next.atom) != code) continue;
            bonded = true;
            ScratchList list(room);
            listNextTo(mapping, partner, next.atom, offeredCode, fewest, list);
            fewest.offer(next.atom, list);
        }
    }
    return bonded;
}

} // namespace

LowestCode lowestCode(std::span<const int> map) {
    LowestCode lowest{0, false};
    for (const int value : map) {
        lowest.code = std::min(lowest.code, value);
        lowest.relaxed = lowest.relaxed || isRelaxed(value);
    }
    return lowest;
}

bool canMapAtom(const PartialMapping &mapping, int atom, int partner) {
    const int code = mapping.partnerOf(atom);
    if (!elementsAgree(code, mapping.pattern.atoms[atom], mapping.target.atoms[partner]))
        return false;
    const bool anyType = isRelaxed(code);
    if (!bondsAgree(mapping.pattern, atom, mapping.map, mapping.target, partner, anyType))
        return false;
    if (!bondsAgree(mapping.target, partner, mapping.inverse, mapping.pattern, atom, anyType))
        return false;
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

CandidatePicker::CandidatePicker(const Molecule &target)
    : startList_(scratchList(pickerScratch.start, target)),
      nextList_(scratchList(pickerScratch.next, target)) {}

int CandidatePicker::pickStartAtom(const PartialMapping &mapping, std::vector<int> &stack) const {
    FewestCandidates fewest(stack);
    const int code = lowestCode(mapping.map).code;
    if (code >= MAP_SKIP) return fewest.atom();
    for (int atom = 0; atom < mapping.pattern.atomCount; ++atom) {
        if (mapping.partnerOf(atom) != code) continue;
        ScratchList list(startList_);
        for (int site = 0; site < mapping.target.atomCount; ++site) {
            if (fewest.beats(list.size())) break;
            if (hasPartner(mapping.patternAtomOn(site))) continue;
            if (elementsAgree(code, mapping.pattern.atoms[atom], mapping.target.atoms[site]))
                list.add(site);
        }
        fewest.offer(atom, list);
    }
    return fewest.atom();
}

int CandidatePicker::pickNextAtom(const PartialMapping &mapping, std::vector<int> &stack) const {
    FewestCandidates fewest(stack);
    const LowestCode lowest = lowestCode(mapping.map);
    if (lowest.code >= MAP_SKIP) return fewest.atom();
    const int offeredCode = lowestCode(mapping.inverse).code;

    // Where relaxed codes are about, the strict ones (-7, -4) give way to the code above them as
    // long as none of their own is bonded to the mapped part.
    const bool givesWay = lowest.relaxed && !isRelaxed(lowest.code);
    const int lastCode = givesWay ? lowest.code + 1 : lowest.code;
    bool bonded = false;
    for (int code = lowest.code; code <= lastCode && !bonded; ++code)
        bonded = offerBonded(mapping, code, offeredCode, nextList_, fewest);

    if (isRequired(lowest.code) && !bonded) return pickStartAtom(mapping, stack);
    return fewest.atom();
}

} // namespace saddlefit
