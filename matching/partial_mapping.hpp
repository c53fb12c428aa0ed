/// A mapping in the making, and what it lets an atom do.
#pragma once

#include "saddlefit/matching.h"

#include "matching/bond_table.hpp"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <span>
#include <vector>

namespace saddlefit {

inline bool hasPartner(int value) {
    return value >= 0;
}

inline bool isRequired(int code) {
    return code >= MAP_REQUIRED && code <= MAP_REQUIRED_HEAVY;
}

/// Codes that do not insist on the same element, nor on the same type of bond.
inline bool isRelaxed(int code) {
    return code == MAP_REQUIRED_ANY || code == MAP_REQUIRED_HEAVY || code == MAP_OPTIONAL_ANY ||
           code == MAP_OPTIONAL_HEAVY;
}

/// Whether an atom of the pattern with this value may still get a partner.
inline bool isOpen(int value) {
    return value < MAP_SKIP;
}

/// How many entries of a map hold which negative value.
class CodeTally {
public:
    explicit CodeTally(std::span<const int> map);
    void add(int value) { count(value, 1); }
    void remove(int value) { count(value, -1); }

    int lowest() const; ///< the smallest value, 0 if none is negative
    int of(int code) const { return counts_[static_cast<std::size_t>(-code)]; }
    int unknown() const { return counts_[0]; } ///< values below all codes
    int negative() const { return negative_; }
    int required() const {
        return of(MAP_REQUIRED) + of(MAP_REQUIRED_ANY) + of(MAP_REQUIRED_HEAVY);
    }
    int relaxed() const {
        return of(MAP_REQUIRED_ANY) + of(MAP_REQUIRED_HEAVY) + of(MAP_OPTIONAL_ANY) +
               of(MAP_OPTIONAL_HEAVY);
    }

private:
    void count(int value, int change) {
        if (hasPartner(value)) return;
        negative_ += change;
        counts_[static_cast<std::size_t>(value < MAP_REQUIRED ? 0 : -value)] += change;
    }

    std::span<const int> map_;
    std::array<int, 1 - MAP_REQUIRED> counts_{}; // by code without its sign; unknown ones at 0
    int negative_ = 0;
};

/// A set of atoms that is walked in the order of their positions.
class AtomSet {
public:
    AtomSet(std::size_t atoms, std::pmr::memory_resource &memory)
        : words_((atoms + wordBits - 1) / wordBits, &memory) {}

    void include(int atom) { words_[wordOf(atom)] |= bitOf(atom); }
    void exclude(int atom) { words_[wordOf(atom)] &= ~bitOf(atom); }

    /// The first member from a position on; -1 if there is none.
    int next(int from) const {
        std::size_t word = wordOf(from);
        if (word >= words_.size()) return -1;
        std::uint64_t rest = words_[word] & ~(bitOf(from) - 1);
        while (rest == 0) {
            if (++word == words_.size()) return -1;
            rest = words_[word];
        }
        return static_cast<int>(word * wordBits) + std::countr_zero(rest);
    }

private:
    static constexpr std::size_t wordBits = 64;
    static std::size_t wordOf(int atom) { return static_cast<std::size_t>(atom) / wordBits; }
    static std::uint64_t bitOf(int atom) {
        return std::uint64_t{1} << (static_cast<std::size_t>(atom) % wordBits);
    }
    std::pmr::vector<std::uint64_t> words_;
};

/// The two maps of a search, and what follows from them, kept up to date from step to step.
class PartialMapping {
public:
    using Key = std::uint64_t;

    /// Its tables live in `memory`, as do the rest of a search's arrays.
    PartialMapping(const Molecule &A, const Molecule &B, std::span<int> codes,
                   std::span<int> inverseCodes, bool checksChirality,
                   std::pmr::memory_resource &memory);

    const Molecule &pattern, &target;
    const BondTable patternBonds, targetBonds;
    const bool checkChirality;
    const std::span<int> map;     ///< by atom of the pattern: partner (0 or more) or code
    const std::span<int> inverse; ///< by atom of the target: likewise

    int &partnerOf(int atom) const { return map[static_cast<std::size_t>(atom)]; }
    int &patternAtomOn(int atom) const { return inverse[static_cast<std::size_t>(atom)]; }

    void place(int atom, int partner) {
        codes_.remove(partnerOf(atom));
        inverseCodes_.remove(patternAtomOn(partner));
        partnerOf(atom) = partner;
        patternAtomOn(partner) = atom;
        closeToNeighbours(atom, oneNeighbour_);
        countWithSites(partner, oneNeighbour_);
        if (mayHaveOpenNeighbours(atom)) boundary_.include(atom);
    }
    void takeBack(int atom, int code, int partnerCode) {
        const int partner = partnerOf(atom);
        patternAtomOn(partner) = partnerCode;
        inverseCodes_.add(partnerCode);
        partnerOf(atom) = code;
        codes_.add(code);
        boundary_.exclude(atom);
        openToNeighbours(atom, oneNeighbour_);
        countWithSites(partner, -oneNeighbour_);
    }
    void leaveOut(int atom) {
        codes_.remove(partnerOf(atom));
        partnerOf(atom) = MAP_SKIP;
        codes_.add(MAP_SKIP);
        closeToNeighbours(atom, 0);
    }
    void reopen(int atom, int code) {
        codes_.remove(MAP_SKIP);
        partnerOf(atom) = code;
        codes_.add(code);
        openToNeighbours(atom, 0);
    }

    const CodeTally &codes() const { return codes_; }
    const CodeTally &inverseCodes() const { return inverseCodes_; }
    int openAtoms() const { return codes_.negative() - codes_.of(MAP_SKIP); }
    int freeSites() const { return inverseCodes_.negative(); }

    /// Whether every bond stands once in the lists of both its atoms, every code is a known one
    /// and the maps were each other's inverse. Only then can a search foresee what a branch comes
    /// to.
    bool regular() const { return regular_; }

    /// Whether, besides, all codes insist on the same element and type of bond.
    bool strict() const { return strict_; }

    /// What atoms have to agree in to be partners, as one number: how many neighbours have a
    /// partner, and the element if strict. All alike unless regular.
    Key keyOf(int atom) const { return around_[static_cast<std::size_t>(atom)].key; }
    Key siteKeyOf(int atom) const { return siteKeys_[static_cast<std::size_t>(atom)]; }
    static bool hasOneNeighbour(Key key) { return static_cast<std::uint32_t>(key) == 1; }

    /// Atoms with a partner; among them all that have an open neighbour.
    const AtomSet &boundary() const { return boundary_; }

private:
    struct Neighbourhood {
        Key key;
        int open; ///< how many neighbours may still get a partner
    };
    Neighbourhood &around(int atom) { return around_[static_cast<std::size_t>(atom)]; }

    /// Where neighbours cannot be counted from their own side, any atom may have some.
    bool mayHaveOpenNeighbours(int atom) { return around(atom).open > 0 || !patternBonds.simple(); }

    void closeToNeighbours(int atom, Key mapped) {
        for (const auto &bond : patternBonds.of(atom)) {
            --around(bond.atom).open;
            around(bond.atom).key += mapped;
            if (!mayHaveOpenNeighbours(bond.atom)) boundary_.exclude(bond.atom);
        }
    }
    void openToNeighbours(int atom, Key mapped) {
        for (const auto &bond : patternBonds.of(atom)) {
            ++around(bond.atom).open;
            around(bond.atom).key -= mapped;
            if (hasPartner(partnerOf(bond.atom))) boundary_.include(bond.atom);
        }
    }
    void countWithSites(int partner, Key mapped) {
        for (const auto &bond : targetBonds.of(partner))
            siteKeys_[static_cast<std::size_t>(bond.atom)] += mapped;
    }
    void lookAround(int atom);
    void startKeys();

    CodeTally codes_;
    CodeTally inverseCodes_;
    AtomSet boundary_;
    bool regular_;
    bool strict_;
    Key oneNeighbour_;                       // 0 unless regular
    std::pmr::vector<Neighbourhood> around_; // by atom of the pattern
    std::pmr::vector<Key> siteKeys_;
};

/// Whether the code of an atom of the pattern lets it have a partner of this element.
inline bool elementsAgree(int code, int element, int partnerElement) {
    switch (code) {
    case MAP_REQUIRED_ANY:
    case MAP_OPTIONAL_ANY:
        return true;
    case MAP_REQUIRED_HEAVY:
    case MAP_OPTIONAL_HEAVY:
        return element < 2 || (partnerElement != 0 && partnerElement != 1);
    default:
        return element == partnerElement;
    }
}

/// Whether each of an atom's bonds to the mapped part has its like among those of its partner.
inline bool haveTheirLike(std::span<const BondTable::Entry> bonds, std::span<const int> partners,
                          std::span<const BondTable::Entry> others, bool anyType) {
    for (const auto &[neighbour, type] : bonds) {
        const int far = partners[static_cast<std::size_t>(neighbour)];
        if (!hasPartner(far)) continue;
        const BondTable::Entry *like = BondTable::leadingTo(far, others);
        if (!like || (!anyType && like->type != type)) return false;
    }
    return true;
}

/// An atom of the pattern that is being placed, with what is asked about it for each candidate.
struct OpenAtom {
    OpenAtom(const PartialMapping &mapping, int position)
        : atom(position),
          code(mapping.partnerOf(position)),
          element(mapping.pattern.atoms[position].element),
          key(mapping.keyOf(position)),
          bonds(mapping.patternBonds.of(position)) {}

    int atom, code, element;
    PartialMapping::Key key;
    std::span<const BondTable::Entry> bonds;
};

/// Whether a partner suits an atom of the pattern by its element, and by its bonds to the mapped
/// part: those of the one and of the other lead to partners of each other.
inline bool fits(const PartialMapping &mapping, const OpenAtom &atom, int partner) {
    if (atom.key != mapping.siteKeyOf(partner)) return false;
    if (!elementsAgree(atom.code, atom.element, mapping.target.atoms[partner].element))
        return false;
    const auto far = mapping.targetBonds.of(partner);
    const bool anyType = isRelaxed(atom.code);
    return haveTheirLike(atom.bonds, mapping.map, far, anyType) &&
           (mapping.regular() || haveTheirLike(far, mapping.inverse, atom.bonds, anyType));
}

/// The same for atoms that are bonded to the same mapped pair.
inline bool fitsBeside(const PartialMapping &mapping, const OpenAtom &atom, int type,
                       const BondTable::Entry &partner) {
    if (atom.key != mapping.siteKeyOf(partner.atom)) return false;
    if (mapping.strict() && PartialMapping::hasOneNeighbour(atom.key)) return type == partner.type;
    return fits(mapping, atom, partner.atom);
}

/// Whether a centre keeps its handedness on its partner. Undecided centres agree.
bool chiralityAgrees(const PartialMapping &mapping, int centre, int partner);

/// Whether the mapped neighbours of an atom keep theirs once it has taken its partner.
bool neighboursKeepHandedness(const PartialMapping &mapping, int atom, int partner);

/// Whether an atom of the pattern may take a partner, both being bonded to the same mapped pair.
inline bool canMapAtom(const PartialMapping &mapping, const OpenAtom &atom, int type,
                       const BondTable::Entry &partner) {
    if (!fitsBeside(mapping, atom, type, partner)) return false;
    if (!mapping.checkChirality) return true;
    return neighboursKeepHandedness(mapping, atom.atom, partner.atom) &&
           chiralityAgrees(mapping, atom.atom, partner.atom);
}

} // namespace saddlefit
