#include "reaction/search.hpp"

#include "saddlefit/matching.h"
#include "saddlefit/reaction.h"

#include "molecule/interrupt.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace saddlefit {

namespace {

void setName(Molecule &mol, const char *name, std::string_view suffix) {
    const std::string_view stem = name ? name : "";
    char *copy = allocateArray<char>(stem.size() + suffix.size() + 1);
    if (!copy) return;
    std::ranges::copy(suffix, std::ranges::copy(stem, copy).out);
    std::free(mol.name);
    mol.name = copy;
}

/// Hand the chosen structure and its map to the caller; 0 if there is no memory.
int handBack(Molecule &mol, OwnedMol &chosen, const std::vector<int> &partners, Molecule **match,
             int **map) {
    OwnedBlock<int> copy(allocateArray<int>(partners.size()));
    if (!copy) return 0;
    std::ranges::copy(partners, copy.get());
    takeName(mol, *chosen);
    *map = copy.release();
    *match = chosen.release();
    return 1;
}

} // namespace

Search::Search(Question &question, const Candidates &candidates, Steps steps)
    : question_(question),
      candidates_(candidates),
      open_(candidates.size(), true),
      stages_(candidates.size(), SEARCH_NOT_REACHED),
      trials_(steps == Steps::kept ? candidates.size() : 0) {}

std::optional<Choice> Search::best(ContestListener *listener) {
    std::ranges::fill(stages_, SEARCH_NOT_REACHED);
    if (!hasCountableElements(question_.molecule())) return std::nullopt;
    Contest contest(listener);
    std::optional<Choice> leader;
    for (std::size_t i = 0; i < candidates_.size() && !(leader && leader->exact); ++i) {
        if (hostHasEnough()) return std::nullopt;
        if (mayEnter(i)) enter(contest, i, leader);
    }
    const bool exact = leader && leader->exact;
    if (!exact && hostHasEnough()) return std::nullopt;
    if (leader && leader->onMirrorImage) mirrorRS(candidates_[leader->candidate].get());
    return leader;
}

bool Search::hostHasEnough() {
    return interrupted_ = interruptRequested();
}

bool Search::mayEnter(std::size_t candidate) {
    if (!open_[candidate])
        stages_[candidate] = SEARCH_LEFT_OUT;
    else if (!hasCountableElements(*candidates_[candidate]))
        stages_[candidate] = SEARCH_ELEMENTS;
    return stages_[candidate] == SEARCH_NOT_REACHED;
}

void Search::enter(Contest &contest, std::size_t candidate, std::optional<Choice> &leader) {
    std::optional<Trial> passing;
    std::optional<Trial> &trial = trials_.empty() ? passing : trials_[candidate];
    if (!trial) trial.emplace(question_, *candidates_[candidate]);
    const SearchStage stage = stages_[candidate] = contest.enter(*trial);
    if (stage != SEARCH_CHOSEN && stage != SEARCH_EXACT) return;
    if (leader) stages_[leader->candidate] = SEARCH_CONTEST;
    const bool exact = stage == SEARCH_EXACT;
    const Mappings &mappings = trial->mappings();
    const std::size_t mapping = exact ? 0 : contest.leadingMapping();
    leader = {candidate, exact, mappings.mirrored(mapping),
              exact ? mappings.first : mappings.ofCentre[mapping]};
}

const Trial *Search::stepsWith(std::size_t candidate) const {
    return trials_.empty() || !trials_[candidate] ? nullptr : &*trials_[candidate];
}

int searchCandidates(Molecule &mol, Candidates &candidates, ContestListener *listener,
                     Molecule **match, int **map) {
    Question question(mol);
    Search search(question, candidates, Search::Steps::dropped);
    const std::optional<Choice> choice = search.best(listener);
    if (!choice) return 0;
    OwnedMol &chosen = candidates[choice->candidate];
    if (!choice->exact) return handBack(mol, chosen, choice->map, match, map);
    takeExact(mol, *chosen, choice->map.data());
    return 1;
}

void takeExact(Molecule &mol, const Molecule &structure, const int *map) {
    for (int i = 0; i < mol.atomCount; ++i) {
        if (!hasAtom(structure, map[i])) continue;
        const Atom &source = structure.atoms[map[i]];
        Atom &atom = mol.atoms[i];
        atom.x = source.x;
        atom.y = source.y;
        atom.z = source.z;
    }
    setName(mol, structure.name, " (Exact)");
}

void takeName(Molecule &mol, const Molecule &structure) {
    setName(mol, structure.name, "");
}

} // namespace saddlefit
