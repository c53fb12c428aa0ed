#include "matching/candidates.hpp"

#include "molecule/current.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace saddlefit {
namespace {

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
    explicit FewestCandidates(std::pmr::vector<int> &stack) : stack_(stack), base_(stack.size()) {}

    /// The atom, or that there is none.
    int choice() const { return atom_; }

    /// A list as long as this, finished or not, is out of the running.
    bool beats(std::size_t length) const { return atom_ >= 0 && stack_.size() - base_ <= length; }

    /// Whether no list can be shorter than the shortest so far.
    bool unbeatable() const { return beats(1); }

    void offer(int atom, const ScratchList &list) {
        if (list.size() == 0 || beats(list.size())) return;
        stack_.resize(base_);
        stack_.insert(stack_.end(), list.atoms().begin(), list.atoms().end());
        atom_ = atom;
    }

    int giveUp() {
        stack_.resize(base_);
        return CandidatePicker::hopeless;
    }

private:
    std::pmr::vector<int> &stack_;
    std::size_t base_;
    int atom_ = CandidatePicker::complete;
};

/// Candidates of an atom next to a mapped one: the neighbours of that one's partner with the code
/// that is on offer. Once the target has no code left, the offered 0 is the mark of atom 0's
/// partner, which may then serve a second atom.
void listNextTo(const PartialMapping &mapping, int anchor, const OpenAtom &atom, int type,
                int offeredCode, const FewestCandidates &fewest, ScratchList &list) {
    for (const auto &beside : mapping.targetBonds.of(anchor)) {
        if (list.full() || fewest.beats(list.size())) return;
        if (mapping.patternAtomOn(beside.atom) != offeredCode) continue;
        if (canMapAtom(mapping, atom, type, beside)) list.add(beside.atom);
    }
}

/// Whether a required atom without candidates, bonded to one on `anchor`, will never have any.
///
/// It has to go next to `anchor`, and the more of the pattern is mapped, the fewer atoms it fits:
/// if no free atom there fits it now, none will. An atom that is taken is offered again only once
/// all are, which so few open atoms cannot bring about. And without it no mapping reaches the
/// least depth, for until it is placed, none but required atoms are.
bool neverFits(const PartialMapping &mapping, int anchor, const OpenAtom &atom, int type) {
    if (!mapping.regular() || mapping.openAtoms() > mapping.freeSites()) return false;
    for (const auto &beside : mapping.targetBonds.of(anchor)) {
        if (hasPartner(mapping.patternAtomOn(beside.atom))) continue;
        if (fitsBeside(mapping, atom, type, beside)) return false;
    }
    return true;
}

/// What the atoms of one code that are bonded to the mapped part come to.
enum class Bonded { none, some, hopeless };

/// Offers their candidates, until one atom has but one.
Bonded offerBonded(const PartialMapping &mapping, int code, std::span<int> room,
                   FewestCandidates &fewest) {
    const int offeredCode = mapping.inverseCodes().lowest();
    const AtomSet &boundary = mapping.boundary();
    Bonded bonded = Bonded::none;
    for (int atom = boundary.next(0); atom >= 0; atom = boundary.next(atom + 1)) {
        const int partner = mapping.partnerOf(atom);
        for (const auto &next : mapping.patternBonds.of(atom)) {
            if (mapping.partnerOf(next.atom) != code) continue;
            bonded = Bonded::some;
            const OpenAtom open(mapping, next.atom);
            ScratchList list(room);
            listNextTo(mapping, partner, open, next.type, offeredCode, fewest, list);
            fewest.offer(next.atom, list);
            if (fewest.unbeatable()) return bonded;
            if (list.size() == 0 && isRequired(code) &&
                neverFits(mapping, partner, open, next.type))
                return Bonded::hopeless;
        }
    }
    return bonded;
}

/// Free atoms of a target by element, so that candidates can be counted without listing them.
class FreeSites {
public:
    explicit FreeSites(const PartialMapping &mapping) : mapping_(mapping) {
        for (int site = 0; site < mapping.target.atomCount; ++site) {
            const int element = mapping.target.atoms[site].element;
            if (hasPartner(mapping.patternAtomOn(site)) || !counted(element)) continue;
            ++counts_[static_cast<std::size_t>(element)];
        }
    }

    bool admit(int atom, int site) const {
        return !hasPartner(mapping_.patternAtomOn(site)) &&
               elementsAgree(mapping_.partnerOf(atom), mapping_.pattern.atoms[atom].element,
                             mapping_.target.atoms[site].element);
    }

    int countFor(int atom) const {
        const int code = mapping_.partnerOf(atom);
        const int element = mapping_.pattern.atoms[atom].element;
        if (!isRelaxed(code)) return sameElement(atom);
        const bool heavy = code == MAP_REQUIRED_HEAVY || code == MAP_OPTIONAL_HEAVY;
        const int barred = heavy && element >= 2 ? counts_[0] + counts_[1] : 0;
        return mapping_.freeSites() - barred;
    }

private:
    static bool counted(int element) { return element >= 0 && element < 256; }

    int sameElement(int atom) const {
        const int element = mapping_.pattern.atoms[atom].element;
        if (counted(element)) return counts_[static_cast<std::size_t>(element)];
        int count = 0;
        for (int site = 0; site < mapping_.target.atomCount; ++site)
            count += admit(atom, site) ? 1 : 0;
        return count;
    }

    const PartialMapping &mapping_;
    std::array<int, 256> counts_{};
};

} // namespace

PickerScratch &PickerScratch::ofProcess() {
    static constinit PickerScratch scratch;
    return scratch;
}

CandidatePicker::CandidatePicker(const Molecule &target)
    : startList_(scratchList(Current<PickerScratch>::state().start, target)),
      nextList_(scratchList(Current<PickerScratch>::state().next, target)) {}

int CandidatePicker::pickStartAtom(const PartialMapping &mapping,
                                   std::pmr::vector<int> &stack) const {
    const int code = mapping.codes().lowest();
    if (!isOpen(code)) return complete;
    const FreeSites sites(mapping);
    int chosen = complete;
    int fewest = 0;
    for (int atom = 0; atom < mapping.pattern.atomCount; ++atom) {
        if (mapping.partnerOf(atom) != code) continue;
        const int count = sites.countFor(atom);
        if (count == 0 || (chosen != complete && count >= fewest)) continue;
        chosen = atom;
        fewest = count;
    }
    if (chosen == complete) return complete;
    ScratchList list(startList_);
    for (int site = 0; site < mapping.target.atomCount; ++site)
        if (sites.admit(chosen, site)) list.add(site);
    stack.insert(stack.end(), list.atoms().begin(), list.atoms().end());
    return chosen;
}

int CandidatePicker::pickNextAtom(const PartialMapping &mapping,
                                  std::pmr::vector<int> &stack) const {
    FewestCandidates fewest(stack);
    const int lowest = mapping.codes().lowest();
    if (!isOpen(lowest)) return complete;

    // Where relaxed codes are about, the strict ones (-7, -4) give way to the code above them as
    // long as none of their own is bonded to the mapped part.
    const bool givesWay = mapping.codes().relaxed() > 0 && !isRelaxed(lowest);
    const int lastCode = givesWay ? lowest + 1 : lowest;
    Bonded bonded = Bonded::none;
    for (int code = lowest; code <= lastCode && bonded == Bonded::none; ++code)
        bonded = offerBonded(mapping, code, nextList_, fewest);

    if (bonded == Bonded::hopeless) return fewest.giveUp();
    if (isRequired(lowest) && bonded == Bonded::none) return pickStartAtom(mapping, stack);
    return fewest.choice();
}

} // namespace saddlefit
