#include "matching/depth_bound.hpp"

#include <algorithm>
#include <bit>

namespace saddlefit {
namespace {

constexpr std::size_t countersPerAtom = 2; // few labels share one

/// Scatters a number over 64 bits (the finalizer of splitmix64, S. Vigna).
std::uint64_t scattered(std::uint64_t number) {
    number += 0x9e3779b97f4a7c15;
    number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9;
    number = (number ^ (number >> 27)) * 0x94d049bb133111eb;
    return number ^ (number >> 31);
}

/// One number of what a label tells apart.
std::uint64_t scattered(int first, int second) {
    return scattered(std::uint64_t{static_cast<std::uint32_t>(first)} << 32 |
                     static_cast<std::uint32_t>(second));
}

// In the place of an atom or of a type of bond, where neither can stand.
constexpr int elementMark = -1;
constexpr int groupMark = -2;

} // namespace

DepthBound::DepthBound(const PartialMapping &mapping)
    : mapping_(mapping),
      pattern_{atomsOf(mapping.pattern), mapping.patternBonds, mapping.map, MAP_SKIP - 1, true},
      target_{atomsOf(mapping.target), mapping.targetBonds, mapping.inverse, MAP_SKIP, false},
      counters_(
          std::bit_ceil(countersPerAtom * (mapping.map.size() + mapping.inverse.size() + 1))) {}

/// Each pair takes up a free atom of the target. Only once none is left is one offered again, and
/// can make one pair more.
int DepthBound::operator()(int depth) {
    const int open = mapping_.openAtoms();
    if (!mapping_.regular() || open == 0) return depth + open;
    std::fill(counters_.begin(), counters_.end(), Counter{});
    pairs_ = 0;
    if (depth == 0 || startsAgain())
        countAnywhere();
    else
        countInReach();
    const bool oneMore = pairs_ == mapping_.freeSites() && offersTwice();
    return depth + std::min(open, pairs_ + (oneMore ? 1 : 0));
}

/// Whether a second atom may come to share the partner of the pattern's atom 0, the only one that
/// is offered again, and once. One that it does not fit now it will fit no better later.
bool DepthBound::offersTwice() const {
    const int partner = mapping_.map[0];
    if (!hasPartner(partner)) return isOpen(partner);
    for (int atom = 0; atom < mapping_.pattern.atomCount; ++atom)
        if (isOpen(mapping_.partnerOf(atom)) && fits(mapping_, OpenAtom(mapping_, atom), partner))
            return true;
    return false;
}

/// Whether a required atom may come to be placed away from the mapped part, which only happens
/// while no atom of its code is bonded to it. Not if its code leads from it to the mapped part:
/// on that way an open atom always follows on a mapped one.
bool DepthBound::startsAgain() {
    if (mapping_.codes().required() == 0) return false;
    std::fill(pattern_.reached.begin(), pattern_.reached.end(), 0);
    int led = 0;
    const auto lead = [&](int from, int code) {
        for (const auto &bond : pattern_.bonds.of(from)) {
            const int value = mapping_.partnerOf(bond.atom);
            unsigned char &reached = pattern_.reached[static_cast<std::size_t>(bond.atom)];
            if (!isRequired(value) || (code != value && !hasPartner(code)) || reached) continue;
            reached = 1;
            ++led;
            visits_.push_back({&pattern_, bond.atom});
        }
    };
    const AtomSet &boundary = mapping_.boundary();
    for (int atom = boundary.next(0); atom >= 0; atom = boundary.next(atom + 1))
        lead(atom, mapping_.partnerOf(atom));
    while (!visits_.empty()) {
        const int atom = visits_.back().atom;
        visits_.pop_back();
        lead(atom, mapping_.partnerOf(atom));
    }
    return led < mapping_.codes().required();
}

/// Where a part can start at any free atom, elements alone decide.
void DepthBound::countAnywhere() {
    for (Side *side : {&pattern_, &target_})
        for (std::size_t atom = 0; atom < side->atoms.size(); ++atom)
            if (side->open(atom)) countIn(*side, elementLabel(side->atoms[atom]));
}

/// Atoms bonded to the mapped part are counted by these bonds, those behind them by the group of
/// mapped atoms that they can be reached from. An atom bonded to the mapped part that finds its
/// label not at all on the other side never gets a partner, and none is reached through it.
void DepthBound::countInReach() {
    for (Side *side : {&pattern_, &target_})
        labelByBonds(*side);
    for (Side *side : {&pattern_, &target_})
        closeDeadEnds(*side);
    for (int atom = 0; atom < mapping_.pattern.atomCount; ++atom)
        if (hasPartner(mapping_.partnerOf(atom)) &&
            !pattern_.reached[static_cast<std::size_t>(atom)])
            walkFrom(atom);
}

void DepthBound::labelByBonds(Side &side) {
    const bool anyType = mapping_.codes().relaxed() > 0;
    for (std::size_t atom = 0; atom < side.atoms.size(); ++atom) {
        side.reached[atom] = 0;
        side.anchored[atom] = 0;
        if (!side.open(atom)) continue;
        Label label = elementLabel(side.atoms[atom]);
        for (const auto &bond : side.bonds.of(static_cast<int>(atom))) {
            const int partner = side.partners[static_cast<std::size_t>(bond.atom)];
            if (!hasPartner(partner)) continue;
            label ^= scattered(side.isPattern ? bond.atom : partner, anyType ? 0 : bond.type);
            side.anchored[atom] = 1;
        }
        side.labels[atom] = label;
        if (side.anchored[atom]) countIn(side, label);
    }
}

/// Keeps the walk from atoms that can have no partner.
void DepthBound::closeDeadEnds(Side &side) {
    for (std::size_t atom = 0; atom < side.atoms.size(); ++atom) {
        if (!side.open(atom) || !side.anchored[atom]) continue;
        const Counter &counter = counterOf(side.labels[atom]);
        side.reached[atom] = counter.atoms == 0 || counter.sites == 0;
    }
}

DepthBound::Label DepthBound::elementLabel(const Atom &atom) const {
    return mapping_.codes().relaxed() > 0 ? 0 : scattered(elementMark, atom.element);
}

DepthBound::Counter &DepthBound::counterOf(Label label) {
    return counters_[label & (counters_.size() - 1)];
}

/// Counts an atom in, and the pair that it makes with one of the other side, if it does.
void DepthBound::countIn(const Side &side, Label label) {
    Counter &counter = counterOf(label);
    const bool pairs =
        side.isPattern ? counter.atoms++ < counter.sites : counter.sites++ < counter.atoms;
    pairs_ += pairs ? 1 : 0;
}

/// Goes through all that can be reached from a mapped atom on either side, over mapped atoms too.
void DepthBound::walkFrom(int anchor) {
    group_ = scattered(groupMark, anchor);
    reachPair(anchor);
    while (!visits_.empty()) {
        const Visit visit = visits_.back();
        visits_.pop_back();
        spread(*visit.side, visit.atom);
    }
}

void DepthBound::reachPair(int anchor) {
    const int partner = mapping_.partnerOf(anchor);
    pattern_.reached[static_cast<std::size_t>(anchor)] = 1;
    target_.reached[static_cast<std::size_t>(partner)] = 1;
    visits_.push_back({&pattern_, anchor});
    visits_.push_back({&target_, partner});
}

/// From an atom on to its neighbours. No mapping grows along a bond between mapped atoms.
void DepthBound::spread(Side &side, int from) {
    const bool fromMapped = hasPartner(side.partners[static_cast<std::size_t>(from)]);
    for (const auto &bond : side.bonds.of(from)) {
        const auto atom = static_cast<std::size_t>(bond.atom);
        if (side.reached[atom]) continue;
        if (hasPartner(side.partners[atom])) {
            if (!fromMapped) reachPair(side.isPattern ? bond.atom : side.partners[atom]);
        } else if (side.open(atom)) {
            side.reached[atom] = 1;
            visits_.push_back({&side, bond.atom});
            if (!side.anchored[atom]) countIn(side, side.labels[atom] ^ group_);
        }
    }
}

} // namespace saddlefit
