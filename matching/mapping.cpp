#include "matching/mapping.hpp"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

using namespace saddlefit;

namespace {

constexpr std::size_t talliedElements = 255; // elements 0 to 254

/// The caller's store of the largest mappings found so far.
struct ResultStore {
    int **solutions;
    int *scores;
    int &count;
    int capacity;

    bool full() const { return count == capacity; }
    void put(int place, std::span<const int> map, int depth) {
        std::copy(map.begin(), map.end(), solutions[place]);
        scores[place] = depth;
        count = place + 1;
    }
    /// A larger mapping replaces all others, an equal one is added while there is room.
    void offer(std::span<const int> map, int depth) {
        if (count == 0 || depth > scores[0])
            put(0, map, depth);
        else if (depth == scores[0] && !full())
            put(count, map, depth);
    }
};

/// Numbers of atoms that a pattern's map speaks of.
struct Demand {
    int fixed = 0;   // have a partner
    int minimum = 0; // have one or must get one
    int target = 0;  // have one or may get one

    explicit Demand(std::span<const int> map) {
        for (const int value : map) {
            fixed += hasPartner(value) ? 1 : 0;
            minimum += hasPartner(value) || isRequired(value) ? 1 : 0;
            target += value != MAP_SKIP ? 1 : 0;
        }
    }
};

/// The search for mappings. Depth is the number of atoms of the pattern that have a partner.
///
/// The levels of the search lie on a stack of their own: a record may hold 65,535 atoms, and as
/// many nested calls would overflow the host's.
class MappingSearch {
public:
    MappingSearch(const PartialMapping &mapping, ResultStore &store, int target)
        : mapping_(mapping), picker_(mapping.target), store_(store), target_(target) {}

    void run(int depth, int minimum) {
        minimum_ = minimum;
        const Unwinder unwinder(*this);
        bool goOn = enter(depth);
        while (goOn && !levels_.empty())
            goOn = advance();
    }

private:
    /// An atom of the pattern, what has been tried with it and what is left to try.
    struct Level {
        int atom;
        int code;
        int depth;
        std::size_t first, last; ///< its candidates
        std::size_t next;        ///< the first of them that has not been tried
        int partner = -1;        ///< the one being tried
        int partnerCode = 0;
        bool leftOut = false;
    };

    /// Gives the maps back as they were, however the search ends.
    struct Unwinder {
        explicit Unwinder(MappingSearch &search) : search_(search) {}
        ~Unwinder() {
            while (!search_.levels_.empty())
                search_.leave();
        }
        Unwinder(const Unwinder &) = delete;
        Unwinder &operator=(const Unwinder &) = delete;
        MappingSearch &search_;
    };

    // These are false if the whole search is over.
    bool enter(int depth);
    bool advance();
    bool record(int depth);

    void place(Level &level);
    void takeBack(Level &level);
    void leave();

    const PartialMapping &mapping_;
    CandidatePicker picker_;
    ResultStore &store_;
    int target_;
    int minimum_ = 0;
    std::vector<Level> levels_;
    std::vector<int> candidates_; // stack of the lists of all levels
};

/// Choose the atom to place next; a branch without one is complete.
bool MappingSearch::enter(int depth) {
    const std::size_t first = candidates_.size();
    const int atom = depth == 0 ? picker_.pickStartAtom(mapping_, candidates_)
                                : picker_.pickNextAtom(mapping_, candidates_);
    const std::size_t last = candidates_.size();
    if (first == last) return record(depth);
    levels_.push_back({atom, mapping_.partnerOf(atom), depth, first, last, first});
    return true;
}

/// Try the next candidate of the atom placed last, then leaving it out, then step back.
bool MappingSearch::advance() {
    Level &level = levels_.back();
    takeBack(level);
    if (level.next < level.last) {
        place(level);
        return enter(level.depth + 1);
    }
    if (!isRequired(level.code) && !level.leftOut) {
        level.leftOut = true;
        mapping_.partnerOf(level.atom) = MAP_SKIP;
        return enter(level.depth);
    }
    leave();
    return true;
}

bool MappingSearch::record(int depth) {
    if (depth < minimum_) return true;
    store_.offer(mapping_.map, depth);
    return depth != target_ || !store_.full();
}

void MappingSearch::place(Level &level) {
    level.partner = candidates_[level.next++];
    level.partnerCode = mapping_.patternAtomOn(level.partner);
    mapping_.partnerOf(level.atom) = level.partner;
    mapping_.patternAtomOn(level.partner) = level.atom;
}

void MappingSearch::takeBack(Level &level) {
    if (level.partner < 0) return;
    mapping_.patternAtomOn(level.partner) = level.partnerCode;
    level.partner = -1;
}

void MappingSearch::leave() {
    Level &level = levels_.back();
    takeBack(level);
    mapping_.partnerOf(level.atom) = level.code;
    candidates_.resize(level.first);
    levels_.pop_back();
}

/// Whether the target has enough atoms of each element that the strictly required ones ask for.
/// No target is held to have elements beyond the tally.
bool hasRequiredElements(const Molecule &pattern, std::span<const int> map,
                         const Molecule &target) {
    const auto tallied = [](const Atom &atom) {
        return atom.element >= 0 && atom.element < static_cast<int>(talliedElements);
    };
    std::array<int, talliedElements> missing{};
    for (std::size_t i = 0; i < map.size(); ++i) {
        if (map[i] != MAP_REQUIRED) continue;
        const Atom &atom = pattern.atoms[i];
        if (!tallied(atom)) return false;
        ++missing[static_cast<std::size_t>(atom.element)];
    }
    for (const Atom &atom : atomsOf(target))
        if (tallied(atom)) --missing[static_cast<std::size_t>(atom.element)];
    return std::none_of(missing.begin(), missing.end(), [](int count) { return count > 0; });
}

/// Holds a molecule as its mirror image for the length of a scope.
class MirroredMolecule {
public:
    explicit MirroredMolecule(Molecule &mol) : mol_(mol) { mirrorRS(&mol_); }
    ~MirroredMolecule() { mirrorRS(&mol_); }
    MirroredMolecule(const MirroredMolecule &) = delete;
    MirroredMolecule &operator=(const MirroredMolecule &) = delete;

private:
    Molecule &mol_;
};

/// Looks for mappings onto the target's mirror image that are at least as large as those
/// recorded, and gives them a negative score.
void searchMirrorImage(MappingSearch &search, Molecule &target, const Demand &demand,
                       ResultStore &store) {
    int firstMirrored = store.count;
    const int best = firstMirrored > 0 ? store.scores[0] : demand.minimum;
    {
        const MirroredMolecule mirrored(target);
        search.run(demand.fixed, best);
    }
    if (store.count > 0 && best < store.scores[0]) firstMirrored = 0;
    for (int i = firstMirrored; i < store.count; ++i)
        store.scores[i] = -store.scores[i];
}

int runSearch(const PartialMapping &mapping, ResultStore &store, bool tryMirror) {
    const Demand demand(mapping.map);
    MappingSearch search(mapping, store, demand.target);
    search.run(demand.fixed, demand.minimum);
    if (mapping.checkChirality && tryMirror)
        searchMirrorImage(search, mapping.target, demand, store);
    return store.count > 0 ? std::abs(store.scores[0]) : 0;
}

} // namespace

int mapSub(Molecule *A, Molecule *B, int *map, int **solutions, int *scores, int *count,
           int capacity, int *inverse, int checkChirality, int tryMirror) {
    *count = 0;
    if (capacity <= 0) return 0;
    const std::span<int> codes = countedSpan(map, A->atomCount);
    if (!hasRequiredElements(*A, codes, *B)) return 0;
    if (!ensureBondlink(*A) || !ensureBondlink(*B)) return -10;
    const int depth = guarded(-10, [&] {
        std::vector<int> ownScores(scores ? 0 : static_cast<std::size_t>(capacity));
        std::vector<int> ownInverse(inverse ? 0 : atomsOf(*B).size(), MAP_OPTIONAL);
        ResultStore store{solutions, scores ? scores : ownScores.data(), *count, capacity};
        const PartialMapping mapping{
            *A, *B, codes, countedSpan(inverse ? inverse : ownInverse.data(), B->atomCount),
            checkChirality != 0};
        return runSearch(mapping, store, tryMirror != 0);
    });
    if (depth < 0) *count = 0;
    return depth;
}

int mapSingleSub(Molecule *A, Molecule *B, int *map, int *inverse, int checkChirality,
                 int tryMirror) {
    return guarded(0, [&] {
        const std::span<int> codes = countedSpan(map, A->atomCount);
        std::vector<int> solution(codes.begin(), codes.end());
        int *solutions = solution.data();
        int score = 0;
        int count = 0;
        mapSub(A, B, map, &solutions, &score, &count, 1, inverse, checkChirality, tryMirror);
        if (count == 0) return 0;
        std::copy(solution.begin(), solution.end(), codes.begin());
        return score;
    });
}
