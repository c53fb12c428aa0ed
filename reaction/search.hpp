/// The search among stored structures for those that fit a molecule best.
#pragma once

#include "molecule/memory.hpp"
#include "reaction/contest.hpp"

#include <optional>
#include <vector>

namespace saddlefit {

/// Stored structures with a molecule's transition code, in file order.
using Candidates = std::vector<OwnedMol>;

/// The structure that a search chose.
struct Choice {
    std::size_t candidate = 0;
    bool exact = false;
    bool onMirrorImage = false; ///< it was turned into its mirror image
    std::vector<int> map;       ///< partners of the reaction centre; of all atoms if it is exact
};

class Search {
public:
    /// Whether the steps taken with a candidate are kept for later contests and for reports.
    enum class Steps { dropped, kept };

    /// Moves the candidates as it measures them. Both have to outlive the search.
    Search(Question &question, const Candidates &candidates, Steps steps);

    void leaveOut(std::size_t candidate) { open_[candidate] = false; }

    /// The best of those that are not left out, in the orientation of its best mapping; none if
    /// nothing fits or the host interrupted the search.
    std::optional<Choice> best(ContestListener *listener = nullptr);

    /// How far each candidate came in the last contest.
    const std::vector<SearchStage> &stages() const { return stages_; }
    bool interrupted() const { return interrupted_; }

    /// The steps taken with a candidate; null if there are none or they were dropped.
    const Trial *stepsWith(std::size_t candidate) const;

private:
    bool hostHasEnough();
    bool mayEnter(std::size_t candidate);
    void enter(Contest &contest, std::size_t candidate, std::optional<Choice> &leader);

    Question &question_;
    const Candidates &candidates_;
    std::vector<bool> open_;
    std::vector<SearchStage> stages_;
    std::vector<std::optional<Trial>> trials_; ///< none if they are dropped
    bool interrupted_ = false;
};

/// mapDB() on candidates that have been read.
int searchCandidates(Molecule &mol, Candidates &candidates, ContestListener *listener,
                     Molecule **match, int **map);

/// Give a molecule the coordinates and the name of a structure that it maps onto completely.
void takeExact(Molecule &mol, const Molecule &structure, const int *map);

/// Name a molecule as another one. Left as it was if there is no memory: the match stands, whatever
/// it is called.
void takeName(Molecule &mol, const Molecule &structure);

} // namespace saddlefit
