/// A mapping in the making, and the choice of what it tries next.
#pragma once

#include "saddlefit/matching.h"

#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace saddlefit {

struct PartialMapping {
    Molecule &pattern;
    Molecule &target;
    std::span<int> map;     ///< by atom of the pattern: partner (0 or more) or code
    std::span<int> inverse; ///< by atom of the target: likewise
    bool checkChirality;

    int &partnerOf(int atom) const { return map[static_cast<std::size_t>(atom)]; }
    int &patternAtomOn(int atom) const { return inverse[static_cast<std::size_t>(atom)]; }
};

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

struct LowestCode {
    int code;     ///< the smallest value, 0 if none is negative
    bool relaxed; ///< whether any value is a relaxed code
};
LowestCode lowestCode(std::span<const int> map);

/// Whether an atom of the pattern may take a partner that is bonded to the mapped part.
bool canMapAtom(const PartialMapping &mapping, int atom, int partner);

/// Whether a centre keeps its handedness on its partner. Undecided centres agree.
bool chiralityAgrees(const PartialMapping &mapping, int centre, int partner);

/// Finds the atom of the pattern to be placed next, and pushes its candidate partners onto a
/// stack that all levels of the search share. One that finds none pushes nothing.
class CandidatePicker {
public:
    /// Takes hold of the process-wide scratch lists for a target.
    explicit CandidatePicker(const Molecule &target);

    /// An atom that starts a part of its own, at any free atom of the target.
    int pickStartAtom(const PartialMapping &mapping, std::vector<int> &stack) const;

    /// An atom bonded to the mapped part; failing that, a required one that is not.
    int pickNextAtom(const PartialMapping &mapping, std::vector<int> &stack) const;

private:
    std::span<int> startList_;
    std::span<int> nextList_;
};

} // namespace saddlefit
