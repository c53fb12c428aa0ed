#include "reaction/trial.hpp"

#include "saddlefit/matching.h"

#include "molecule/ranges.hpp"
#include "reaction/atom_map.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace saddlefit {

namespace {

/// Most mappings of the molecule onto one candidate that are superposed.
constexpr std::size_t mappingCapacity = 12;

/// Sum up a weight over the heavy neighbours of the reaction centre: 2 for each that agrees with
/// the other molecule, -1 for each that does not.
template <class Agrees>
int neighbourhoodWeight(const Molecule &mol, const std::vector<int> &marks, Agrees agrees) {
    int weight = 0;
    for (int atom = 0; atom < mol.atomCount; ++atom) {
        if (marks[static_cast<std::size_t>(atom)] != MAP_REQUIRED) continue;
        for (const auto [bond, neighbour] : neighboursOf(mol, atom))
            if (marks[static_cast<std::size_t>(neighbour)] == MAP_OPTIONAL)
                weight += agrees(neighbour) ? 2 : -1;
    }
    return weight;
}

/// Agreement by element alone: each neighbour uses up one atom of its element.
int weightByElements(const Molecule &mol, const std::vector<int> &marks, ElementCounts &counts) {
    return neighbourhoodWeight(mol, marks, [&](int neighbour) {
        int &left = counts[static_cast<std::size_t>(mol.atoms[neighbour].element)];
        if (left == 0) return false;
        --left;
        return true;
    });
}

/// Agreement by mapping: a neighbour agrees if it has a partner.
int weightByMap(const Molecule &mol, const std::vector<int> &marks, const std::vector<int> &map) {
    return neighbourhoodWeight(
        mol, marks, [&](int neighbour) { return map[static_cast<std::size_t>(neighbour)] >= 0; });
}

void requireTheRest(std::vector<int> &codes) {
    for (int &code : codes)
        if (code < 0) code = MAP_REQUIRED;
}

/// Keep the partners of the reaction centre only.
void reduceToCentre(std::vector<int> &map, const std::vector<int> &marks) {
    for (std::size_t i = 0; i < map.size(); ++i)
        if (marks[i] != MAP_REQUIRED) map[i] = MAP_SKIP;
}

} // namespace

const Trial::Weighed &Trial::weighed() {
    if (weighed_) return *weighed_;
    ensureBondlink(candidate_);
    const Molecule &mol = question_.molecule();
    Composition composition = compareCompositions(mol, question_.centre(), candidate_);
    const int weight =
        weightByElements(mol, question_.marks(), composition.query) +
        weightByElements(candidate_, mappingMarks(candidate_), composition.candidate);
    return weighed_.emplace(Weighed{composition.candidateClass, composition.score, weight});
}

const Mappings &Trial::mappings() {
    if (mappings_) return *mappings_;
    handedness_ = handednessOf(candidate_);
    return mappings_.emplace(map());
}

Mappings Trial::map() {
    Mappings found;
    found.ofCentre.assign(mappingCapacity, std::vector<int>(question_.marks().size(), MAP_SKIP));
    found.scores.assign(mappingCapacity, 0);
    std::vector<int *> pointers;
    for (std::vector<int> &solution : found.ofCentre)
        pointers.push_back(solution.data());
    const std::vector<int> marks = mappingMarks(candidate_);
    std::vector<int> inverse = marks;
    int count = 0;
    found.depth =
        mapSub(&question_.molecule(), &candidate_, question_.marks().data(), pointers.data(),
               found.scores.data(), &count, mappingCapacity, inverse.data(), 1, 1);
    found.ofCentre.resize(found.depth > 0 ? static_cast<std::size_t>(count) : 0);
    found.scores.resize(found.ofCentre.size());
    if (found.ofCentre.empty()) return found;

    found.first = found.ofCentre.front();
    if (found.depth >= weighed().score) {
        found.candidateClass = weighed().candidateClass;
        if (found.candidateClass == CandidateClass::exact) {
            found.complete = mapsCompletely(found.first);
            if (!found.complete) found.candidateClass = CandidateClass::sub;
        }
    }
    found.weight = weightByMap(question_.molecule(), question_.marks(), found.first) +
                   weightByMap(candidate_, marks, inverseOf(found.first, marks.size()));
    for (std::vector<int> &solution : found.ofCentre)
        reduceToCentre(solution, question_.marks());
    return found;
}

/// Whether the first mapping extends to all atoms, hydrogens and handedness aside. The atoms it
/// maps already are offered again as partners: the marks of the candidate enter none of them.
bool Trial::mapsCompletely(std::vector<int> &first) {
    std::vector<int> whole = first, marks = mappingMarks(candidate_);
    requireTheRest(whole);
    requireTheRest(marks);
    if (mapSingleSub(&question_.molecule(), &candidate_, whole.data(), marks.data(), 0, 0) == 0)
        return false;
    first = std::move(whole);
    return true;
}

std::size_t Trial::neededToBeat(double misfit) {
    const Mappings &found = mappings();
    std::size_t count = found.ofCentre.size();
    if (misfit == worstMisfit) return count; // the first contest has nothing to lose against
    while (count > misfits_.size() &&
           !question_.mayBeat(misfit, candidate_, found.ofCentre[count - 1],
                              found.mirrored(count - 1)))
        --count;
    return count;
}

double Trial::misfit(std::size_t mapping) {
    while (misfits_.size() <= mapping)
        misfits_.push_back(measure(misfits_.size()));
    return misfits_[mapping];
}

/// A mirrored mapping is superposed on the candidate's mirror image.
double Trial::measure(std::size_t mapping) {
    const bool mirrored = mappings().mirrored(mapping);
    if (mirrored) mirrorRS(&candidate_);
    const double misfit = question_.superpose(candidate_, mappings().ofCentre[mapping]);
    if (mirrored) mirrorRS(&candidate_);
    return misfit;
}

} // namespace saddlefit
