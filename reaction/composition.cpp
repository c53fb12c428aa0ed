#include "reaction/composition.hpp"

#include "saddlefit/matching.h"

#include "molecule/ranges.hpp"

#include <algorithm>
#include <cstddef>

namespace saddlefit {

namespace {

/// Hydrogens and dummies say little about a reaction; they are not compared.
constexpr std::size_t firstCompared = 2;

int &countOf(ElementCounts &counts, const Atom &atom) {
    return counts[static_cast<std::size_t>(atom.element)];
}

void countAtoms(ElementCounts &counts, const Molecule &mol) {
    for (const Atom &atom : atomsOf(mol))
        ++countOf(counts, atom);
}

/// Take the reaction centre out of both counts: it has to be mapped whatever it is made of.
void leaveOutCentre(Composition &composition, const Molecule &mol, const std::vector<int> &marks) {
    for (std::size_t i = 0; i < marks.size(); ++i) {
        if (marks[i] != MAP_REQUIRED) continue;
        ++composition.score;
        --countOf(composition.query, mol.atoms[i]);
        --countOf(composition.candidate, mol.atoms[i]);
    }
}

void classify(Composition &composition) {
    constexpr int hasMore = 1, hasFewer = 2;
    int differences = 0;
    for (std::size_t element = firstCompared; element < composition.query.size(); ++element) {
        int &query = composition.query[element];
        const int candidate = composition.candidate[element];
        if (query > candidate) differences |= hasFewer;
        if (query < candidate) differences |= hasMore;
        query = std::min(query, candidate);
        composition.score += query;
    }
    if (differences & hasFewer)
        composition.candidateClass = CandidateClass::none;
    else if (differences & hasMore)
        composition.candidateClass = CandidateClass::super;
}

} // namespace

const char *className(CandidateClass candidateClass) {
    constexpr const char *names[] = {"exact", "super", "sub", "none"};
    return names[static_cast<std::size_t>(candidateClass)];
}

bool hasCountableElements(const Molecule &mol) {
    constexpr int countable = static_cast<int>(ElementCounts{}.size());
    return std::ranges::all_of(atomsOf(mol), [](const Atom &atom) {
        return atom.element >= 0 && atom.element < countable;
    });
}

Composition compareCompositions(const Molecule &mol, const std::vector<int> &marks,
                                const Molecule &candidate) {
    Composition composition;
    leaveOutCentre(composition, mol, marks);
    countAtoms(composition.query, mol);
    countAtoms(composition.candidate, candidate);
    classify(composition);
    return composition;
}

} // namespace saddlefit
