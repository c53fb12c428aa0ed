/// The choice of what a search for mappings tries next.
#pragma once

#include "matching/partial_mapping.hpp"

namespace saddlefit {

/// Blocks of the scratch registry, kept from search to search. After a staticFree() the pointers
/// are stale, and staticMalloc() answers them with new blocks.
struct PickerScratch {
    int *start = nullptr;
    int *next = nullptr;

    static PickerScratch &ofProcess();
};

/// Finds the atom of the pattern to be placed next, and pushes its candidate partners onto a
/// stack that all levels of the search share. One that finds none pushes nothing.
class CandidatePicker {
public:
    /// Takes hold of the current scratch lists for a target.
    explicit CandidatePicker(const Molecule &target);

    /// What the pickers answer instead of an atom.
    enum : int {
        complete = -1, ///< nothing is left that can be placed
        hopeless = -2  ///< a required atom will never get a partner
    };

    /// An atom that starts a part of its own, at any free atom of the target.
    int pickStartAtom(const PartialMapping &mapping, std::pmr::vector<int> &stack) const;

    /// An atom bonded to the mapped part; failing that, a required one that is not.
    int pickNextAtom(const PartialMapping &mapping, std::pmr::vector<int> &stack) const;

private:
    std::span<int> startList_;
    std::span<int> nextList_;
};

} // namespace saddlefit
