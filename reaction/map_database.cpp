#include "saddlefit/reaction.h"

#include "molecule/ranges.hpp"
#include "reaction/search.hpp"
#include "reaction/search_lines.hpp"

#include <cstdlib>
#include <utility>

namespace {

using namespace saddlefit;

/// The list that filterDB() makes, released whatever happens.
class FilteredList {
public:
    FilteredList(const char *path, int *code) { count_ = filterDB(path, code, &list_); }
    FilteredList(const FilteredList &) = delete;
    FilteredList &operator=(const FilteredList &) = delete;
    ~FilteredList() {
        for (Molecule *molecule : all())
            freeMol(molecule);
        std::free(static_cast<void *>(list_));
    }
    Candidates handOver() {
        Candidates candidates(all().size());
        for (std::size_t i = 0; i < candidates.size(); ++i)
            candidates[i].reset(std::exchange(list_[i], nullptr));
        return candidates;
    }

private:
    std::span<Molecule *> all() const { return countedSpan(list_, count_); }

    Molecule **list_ = nullptr;
    int count_ = 0;
};

int searchFile(const char *path, int *code, Molecule &mol, Molecule **match, int **map) {
    *match = nullptr;
    *map = nullptr;
    ensureBondlink(mol);
    Candidates candidates = FilteredList(path, code).handOver();
    SearchLines lines;
    return searchCandidates(mol, candidates, &lines, match, map);
}

} // namespace

int mapDB(const char *path, Molecule *mol, Molecule **match, int **map) {
    const OwnedBlock<int> code(getTransitionCode(mol));
    if (!code) return 0;
    return guarded(0, [&] { return searchFile(path, code.get(), *mol, match, map); });
}
