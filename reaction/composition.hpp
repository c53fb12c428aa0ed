/// How a candidate's elements compare with a molecule's: the cheap test before any mapping.
#pragma once

#include "saddlefit/molecule.h"

#include <array>
#include <vector>

namespace saddlefit {

/// Classes of candidates, the better ones first.
enum class CandidateClass : int {
    exact = 0, ///< the same heavy atoms outside the reaction centre
    super = 1, ///< more atoms of some element, fewer of none
    sub = 2,   ///< the same, but they do not map completely
    none = 3,  ///< fewer atoms of some element, or too few of them map
};

const char *className(CandidateClass candidateClass);

/// Atoms by element, 0 to 254.
using ElementCounts = std::array<int, 255>;

/// Whether every atom's element can be counted.
bool hasCountableElements(const Molecule &mol);

struct Composition {
    ElementCounts query{};     ///< the molecule outside its centre, no more than the candidate has
    ElementCounts candidate{}; ///< the candidate, less the molecule's centre
    int score = 0;             ///< atoms of the centre plus other heavy atoms in both
    CandidateClass candidateClass = CandidateClass::exact;
};

/// Compare a candidate with a molecule whose reaction centre bears the mark MAP_REQUIRED.
Composition compareCompositions(const Molecule &mol, const std::vector<int> &marks,
                                const Molecule &candidate);

} // namespace saddlefit
