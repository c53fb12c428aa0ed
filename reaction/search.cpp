#include "saddlefit/database.h"
#include "saddlefit/matching.h"
#include "saddlefit/reaction.h"
#include "saddlefit/superpose.h"

#include "molecule/interrupt.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"
#include "reaction/atom_map.hpp"
#include "reaction/composition.hpp"
#include "superpose/alignment.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <vector>

namespace {

using namespace saddlefit;

/// Most mappings of the molecule onto one candidate that are superposed.
constexpr int solutionCapacity = 12;

/// Larger than any misfit: what a contest starts from.
constexpr double worstMisfit = 1e6;

constexpr int worstWeight = -1000;

/// Molecules read from the database, released with the list unless handed over.
class Candidates {
public:
    Candidates() = default;
    Candidates(const Candidates &) = delete;
    Candidates &operator=(const Candidates &) = delete;
    ~Candidates() {
        for (Molecule *candidate : all())
            freeMol(candidate);
        std::free(static_cast<void *>(list_));
    }
    void read(const char *path, int *code) { count_ = filterDB(path, code, &list_); }
    std::span<Molecule *> all() const { return countedSpan(list_, count_); }
    Molecule *handOver(Molecule *chosen) {
        std::ranges::replace(all(), chosen, nullptr);
        return chosen;
    }

private:
    Molecule **list_ = nullptr;
    int count_ = 0;
};

/// The mappings of the molecule onto the candidate at hand.
struct Solutions {
    std::vector<std::vector<int>> maps;
    std::vector<int *> pointers; ///< to each of the maps
    std::vector<int> scores;     ///< atoms mapped; negative onto the candidate's mirror image
    int count = 0;

    explicit Solutions(std::size_t atoms)
        : maps(solutionCapacity, std::vector<int>(atoms, -1)), scores(solutionCapacity, 0) {
        for (std::vector<int> &map : maps)
            pointers.push_back(map.data());
    }
    std::vector<int> &first() { return maps.front(); }
    bool mirrored(std::size_t solution) const { return scores[solution] < 0; }
};

/// The frame of the molecule's reaction centre, in which candidates are superposed on it.
class CentreFrame {
public:
    CentreFrame(Molecule &mol, const std::vector<int> &marks) {
        alignMapStart(&mol, marks.data(), nullptr, &state_, params_);
    }
    CentreFrame(const CentreFrame &) = delete;
    CentreFrame &operator=(const CentreFrame &) = delete;
    ~CentreFrame() { alignMapEnd(&state_); }

    /// Lay a candidate over the centre by a map; returns the misfit.
    double superpose(Molecule &candidate, const std::vector<int> &map) {
        return alignMapMol(&candidate, map.data(), static_cast<int>(map.size()), nullptr, &state_,
                           params_);
    }
    bool mayBeat(double misfit, const Molecule &candidate, const std::vector<int> &map,
                 bool mirrored) const {
        return alignmentMayBeat(misfit, candidate, map, mirrored, state_);
    }

private:
    AlignMapState state_{};
    double params_[15] = {};
};

std::vector<int> centreMarks(Molecule &mol, int others) {
    std::vector<int> marks(atomsOf(mol).size());
    mapTransition(&mol, marks.data(), MAP_REQUIRED, others);
    return marks;
}

/// Marks for a mapping: the reaction centre is required, other heavy atoms are optional, other
/// hydrogens and dummies are left out.
std::vector<int> mappingMarks(Molecule &mol) {
    std::vector<int> marks = centreMarks(mol, MAP_OPTIONAL);
    for (std::size_t i = 0; i < marks.size(); ++i) {
        const int element = mol.atoms[i].element;
        if (marks[i] != MAP_REQUIRED && (element == 0 || element == 1)) marks[i] = MAP_SKIP;
    }
    return marks;
}

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

/// Left as it was if there is no memory: the match stands, whatever it is called.
void setName(Molecule &mol, const char *name, std::string_view suffix = "") {
    const std::string_view stem = name ? name : "";
    char *copy = allocateArray<char>(stem.size() + suffix.size() + 1);
    if (!copy) return;
    std::ranges::copy(suffix, std::ranges::copy(stem, copy).out);
    std::free(mol.name);
    mol.name = copy;
}

/// One search: the molecule asked for, and the best stored structure so far.
class Search {
public:
    explicit Search(Molecule &mol)
        : mol_(mol), solutions_(atomsOf(mol).size()), frame_(mol, centreMarks(mol, MAP_SKIP)) {}

    /// Look into every candidate; true as soon as one is an exact match, which is applied.
    bool findsExactIn(const Candidates &candidates) {
        for (Molecule *candidate : candidates.all()) {
            if (interruptRequested()) return false;
            if (!hasCountableElements(*candidate)) continue;
            if (consider(*candidate)) {
                applyExact(*candidate);
                return true;
            }
        }
        return false;
    }
    Molecule *best() const { return best_; }
    const std::vector<int> &bestMap() const { return bestMap_; }

private:
    bool consider(Molecule &candidate);
    bool losesAgainstBest(int candidateClass, int weight) const {
        return candidateClass == bestClass_ && weight < bestWeight_;
    }
    bool mapsCompletely(Molecule &candidate, std::vector<int> &marks);
    int weightOfFirstSolution(Molecule &candidate);
    void printStart(int candidateClass, int score, int weight) const;
    void printEnd(int candidateClass, int depth, int weight);
    void contest(Molecule &candidate);
    void reduceToCentre();
    std::size_t neededToDecide(const Molecule &candidate) const;
    double misfitOf(Molecule &candidate, std::size_t solution);
    void applyExact(Molecule &candidate);

    Molecule &mol_;
    std::vector<int> marks_;
    Solutions solutions_;
    CentreFrame frame_;

    Molecule *best_ = nullptr;
    std::vector<int> bestMap_;
    int bestClass_ = none;
    int bestWeight_ = worstWeight;
    double bestMisfit_ = worstMisfit;
};

/// Weigh, map and measure one candidate against the best so far; true if it is an exact match.
bool Search::consider(Molecule &candidate) {
    ensureBondlink(candidate);
    Composition composition = compareCompositions(mol_, centreMarks(mol_, MAP_SKIP), candidate);
    int candidateClass = composition.candidateClass;
    if (candidateClass > bestClass_) return false;

    marks_ = mappingMarks(mol_);
    std::vector<int> candidateMarks = mappingMarks(candidate);
    const int firstWeight = weightByElements(mol_, marks_, composition.query) +
                            weightByElements(candidate, candidateMarks, composition.candidate);
    printStart(candidateClass, composition.score, firstWeight);
    if (losesAgainstBest(candidateClass, firstWeight)) return false;

    const int depth = mapSub(&mol_, &candidate, marks_.data(), solutions_.pointers.data(),
                             solutions_.scores.data(), &solutions_.count, solutionCapacity,
                             candidateMarks.data(), 1, 1);
    if (depth <= 0) return false;
    if (depth < composition.score) {
        candidateClass = none;
    } else if (candidateClass == exact) {
        if (mapsCompletely(candidate, candidateMarks)) return true;
        candidateClass = sub;
    }
    if (candidateClass > bestClass_) return false;

    const int weight = weightOfFirstSolution(candidate);
    printEnd(candidateClass, depth, weight);
    if (losesAgainstBest(candidateClass, weight)) return false;
    if (candidateClass < bestClass_ || weight > bestWeight_) {
        bestClass_ = candidateClass;
        bestWeight_ = weight;
        bestMisfit_ = worstMisfit;
    }
    if (weight == bestWeight_) contest(candidate);
    return false;
}

/// Whether the first solution extends to all atoms, hydrogens and handedness aside. The atoms it
/// maps already are offered again as partners: `marks` enters none of them.
bool Search::mapsCompletely(Molecule &candidate, std::vector<int> &marks) {
    requireTheRest(solutions_.first());
    requireTheRest(marks);
    return mapSingleSub(&mol_, &candidate, solutions_.first().data(), marks.data(), 0, 0) != 0;
}

int Search::weightOfFirstSolution(Molecule &candidate) {
    const std::vector<int> &map = solutions_.first();
    const std::vector<int> candidateMarks = mappingMarks(candidate);
    return weightByMap(mol_, marks_, map) +
           weightByMap(candidate, candidateMarks, inverseOf(map, candidateMarks.size()));
}

void Search::printStart(int candidateClass, int score, int weight) const {
    std::printf("Starting with %s set, %d score, %d weight\n", className(candidateClass), score,
                weight);
}

void Search::printEnd(int candidateClass, int depth, int weight) {
    std::printf("Ending with %s set, %d score, %d weight\n", className(candidateClass), depth,
                weight);
    for (int atom = 0; atom < mol_.atomCount; ++atom) {
        if (solutions_.first()[static_cast<std::size_t>(atom)] < 0) continue;
        const char *label = mol_.atoms[atom].label;
        std::printf("%s ", label ? label : "(null)");
    }
    std::printf("\n");
}

/// Measure the solutions of a candidate by the superposition of the reaction centre, and leave
/// the candidate in the orientation of the solution that won, if one did.
///
/// Each measurement moves the candidate, and the next one, and who is handed the candidate, starts
/// from there to the last digit. Two things follow. Before a solution that may win, all earlier
/// ones are measured, and after one that won, all later ones. But if no later one may win and none
/// has won, the rest decides nothing: a loser's coordinates are never read again.
void Search::contest(Molecule &candidate) {
    reduceToCentre();
    const std::size_t all = static_cast<std::size_t>(solutions_.count);
    const std::size_t needed = neededToDecide(candidate);
    bool won = false, wonMirrored = false;
    for (std::size_t i = 0; i < (won ? all : needed); ++i) {
        const double misfit = misfitOf(candidate, i);
        if (!(misfit < bestMisfit_)) continue;
        bestMisfit_ = misfit;
        best_ = &candidate;
        bestMap_ = solutions_.maps[i];
        won = true;
        wonMirrored = solutions_.mirrored(i);
    }
    if (wonMirrored) mirrorRS(&candidate);
}

/// Keep the partners of the reaction centre only.
void Search::reduceToCentre() {
    for (int solution = 0; solution < solutions_.count; ++solution) {
        std::vector<int> &map = solutions_.maps[static_cast<std::size_t>(solution)];
        for (std::size_t i = 0; i < map.size(); ++i)
            if (marks_[i] != MAP_REQUIRED) map[i] = -1;
    }
}

/// How many solutions to measure, from the first on, until none is left that may win. The first
/// contest of a class and weight takes them all: there is nothing to lose against.
std::size_t Search::neededToDecide(const Molecule &candidate) const {
    std::size_t count = static_cast<std::size_t>(solutions_.count);
    if (bestMisfit_ == worstMisfit) return count;
    while (count > 0 && !frame_.mayBeat(bestMisfit_, candidate, solutions_.maps[count - 1],
                                        solutions_.mirrored(count - 1)))
        --count;
    return count;
}

/// Superpose a candidate by one of its solutions; a mirrored one on its mirror image.
double Search::misfitOf(Molecule &candidate, std::size_t solution) {
    const bool mirrored = solutions_.mirrored(solution);
    if (mirrored) mirrorRS(&candidate);
    const double misfit = frame_.superpose(candidate, solutions_.maps[solution]);
    if (mirrored) mirrorRS(&candidate);
    return misfit;
}

void Search::applyExact(Molecule &candidate) {
    if (solutions_.mirrored(0)) mirrorRS(&candidate);
    for (int i = 0; i < mol_.atomCount; ++i) {
        const Atom &source = candidate.atoms[solutions_.first()[static_cast<std::size_t>(i)]];
        Atom &atom = mol_.atoms[i];
        atom.x = source.x;
        atom.y = source.y;
        atom.z = source.z;
    }
    setName(mol_, candidate.name, " (Exact)");
    best_ = nullptr;
}

/// Hand the chosen structure and its map to the caller; false if there is none, or no memory.
bool handBack(const Search &search, Candidates &candidates, Molecule &mol, Molecule **match,
              int **map) {
    if (!search.best()) return false;
    OwnedBlock<int> copy(allocateArray<int>(search.bestMap().size()));
    if (!copy) return false;
    std::ranges::copy(search.bestMap(), copy.get());
    setName(mol, search.best()->name);
    *map = copy.release();
    *match = candidates.handOver(search.best());
    return true;
}

int searchDatabase(const char *path, int *code, Molecule &mol, Molecule **match, int **map) {
    *match = nullptr;
    *map = nullptr;
    ensureBondlink(mol);
    Candidates candidates;
    candidates.read(path, code);
    Search search(mol);
    if (!hasCountableElements(mol)) return 0;
    if (search.findsExactIn(candidates)) return 1;
    if (interruptRequested()) return 0;
    return handBack(search, candidates, mol, match, map) ? 1 : 0;
}

} // namespace

int mapDB(const char *path, Molecule *mol, Molecule **match, int **map) {
    const OwnedBlock<int> code(getTransitionCode(mol));
    if (!code) return 0;
    return guarded(0, [&] { return searchDatabase(path, code.get(), *mol, match, map); });
}
