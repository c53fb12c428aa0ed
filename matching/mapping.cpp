#include "saddlefit/matching.h"

#include "matching/candidates.hpp"
#include "matching/depth_bound.hpp"
#include "matching/walk_counts.hpp"
#include "molecule/interrupt.hpp"
#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory_resource>
#include <optional>
#include <vector>

using namespace saddlefit;

namespace {

constexpr std::size_t talliedElements = 255; // elements 0 to 254

/// Room on the stack for the arrays of a search between molecules of a hundred atoms or so; those
/// of larger ones go on to the heap.
constexpr std::size_t usualBytes = 16384;

/// The caller's store of the largest mappings found so far.
struct ResultStore {
    int **solutions;
    int *scores;
    int &count;
    int capacity;

    bool full() const { return count == capacity; }
    /// The least depth at which a mapping is still taken. It never falls.
    int wanted(int minimum) const {
        return count == 0 ? minimum : std::max(minimum, scores[0] + (full() ? 1 : 0));
    }
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

/// Gives an array of the caller's back as it was, however the scope is left.
class RestoredArray {
public:
    RestoredArray(std::span<int> array, std::pmr::memory_resource &memory)
        : array_(array), values_(array.begin(), array.end(), &memory) {}
    ~RestoredArray() { std::copy(values_.begin(), values_.end(), array_.begin()); }
    RestoredArray(const RestoredArray &) = delete;
    RestoredArray &operator=(const RestoredArray &) = delete;

private:
    std::span<int> array_;
    std::pmr::vector<int> values_;
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
    MappingSearch(PartialMapping &mapping, ResultStore &store, const Demand &demand,
                  std::pmr::memory_resource &memory)
        : mapping_(mapping),
          picker_(mapping.target),
          store_(store),
          target_(demand.target),
          levels_(&memory),
          candidates_(&memory),
          entriesToPass_(entriesPerAtom * demand.target),
          countsWalks_(mapping.strict() && demand.fixed == 0 &&
                       mapping.freeSites() == mapping.target.atomCount &&
                       mapping.openAtoms() <= mapping.freeSites()),
          allRequired_(countsWalks_ && mapping.codes().required() == mapping.pattern.atomCount),
          retreatsToWalks_(fewRetreats + (demand.target + mapping.freeSites()) / atomsPerRetreat) {
        levels_.reserve(static_cast<std::size_t>(demand.target - demand.fixed));
        candidates_.reserve(mapping.map.size() + mapping.inverse.size());
    }

    /// Starts from the mapping as it was before the first run. False if the host interrupted it.
    bool run(int depth, int minimum) {
        minimum_ = minimum;
        while (!levels_.empty())
            leave();
        bool goOn = enter(depth);
        for (unsigned steps = 1; goOn && !levels_.empty(); ++steps) {
            if (steps % stepsPerQuestion == 0 && interruptRequested()) return false;
            goOn = advance();
        }
        return true;
    }

private:
    /// The bound costs about as much as entering a few branches. So a search that is soon over does
    /// without: it enters this many branches per atom first. Later the bound is passed over for
    /// twice as many branches each time that it has pruned none, and for half as many when it has.
    static constexpr int entriesPerAtom = 6;
    static constexpr std::int64_t mostPassedOver = 63;

    /// Likewise walks are counted once the search has come back so often, and more often the more
    /// atoms there are to count at; longer ones after some times as many.
    static constexpr int fewRetreats = 12;
    static constexpr int atomsPerRetreat = 4;
    static constexpr std::int64_t retreatsGrowth = 3;

    /// Steps after which the host is asked whether to go on.
    static constexpr unsigned stepsPerQuestion = 1024;

    /// An atom of the pattern, what has been tried with it and what is left to try.
    struct Level {
        int atom;
        int code;
        int depth;
        std::size_t first, last; ///< its candidates
        std::size_t next;        ///< the first of them that has not been tried
        int partnerCode = 0;     ///< what the inverse held for the one being tried
    };

    // These are false if the whole search is over.
    bool enter(int depth);
    bool advance();
    bool record(int depth);

    bool cannotRecord(int depth);
    bool rulesOut(const Level &level, int partner) const;
    void countWalks();
    void reopen(const Level &level);
    void leave();

    PartialMapping &mapping_;
    CandidatePicker picker_;
    ResultStore &store_;
    int target_;
    int minimum_ = 0;
    std::pmr::vector<Level> levels_;   // of a run that is on, or ended before its time
    std::pmr::vector<int> candidates_; // stack of the lists of all levels
    std::optional<DepthBound> bound_;
    std::int64_t entriesToPass_;  // before the bound is asked again
    std::int64_t passedOver_ = 0; // between the last two times
    std::optional<WalkCounts> walks_;
    bool countsWalks_; // where no mapping is recorded that leaves out a required atom
    bool allRequired_; // likewise, and there are no others
    std::int64_t retreats_ = 0, retreatsToWalks_;
};

/// Choose the atom to place next; a branch without one is complete.
bool MappingSearch::enter(int depth) {
    if (cannotRecord(depth)) return true;
    const std::size_t first = candidates_.size();
    const int atom = depth == 0 ? picker_.pickStartAtom(mapping_, candidates_)
                                : picker_.pickNextAtom(mapping_, candidates_);
    if (atom == CandidatePicker::hopeless) return true;
    if (atom == CandidatePicker::complete) return record(depth);
    levels_.push_back({atom, mapping_.partnerOf(atom), depth, first, candidates_.size(), first});
    return true;
}

/// Whether no mapping of a branch is deep enough for the store.
bool MappingSearch::cannotRecord(int depth) {
    const int wanted = store_.wanted(minimum_);
    if (depth + mapping_.openAtoms() < wanted) return true;
    if (entriesToPass_-- > 0 || mapping_.freeSites() == 0) return false;
    if (!bound_) bound_.emplace(mapping_);
    const bool pruned = (*bound_)(depth) < wanted;
    passedOver_ = pruned ? passedOver_ / 2 : std::min(2 * passedOver_ + 1, mostPassedOver);
    entriesToPass_ = passedOver_;
    return pruned;
}

/// Try the next candidate of the atom placed last, then leaving it out, then step back.
bool MappingSearch::advance() {
    Level &level = levels_.back();
    reopen(level);
    if (level.next < level.last) {
        const int partner = candidates_[level.next++];
        if (rulesOut(level, partner)) return true;
        level.partnerCode = mapping_.patternAtomOn(partner);
        mapping_.place(level.atom, partner);
        return enter(level.depth + 1);
    }
    if (level.next == level.last && !isRequired(level.code)) {
        ++level.next;
        mapping_.leaveOut(level.atom);
        return enter(level.depth);
    }
    const bool required = isRequired(level.code);
    leave();
    if (required && countsWalks_ && ++retreats_ == retreatsToWalks_) countWalks();
    return true;
}

/// Whether a pair keeps some required atom from ever getting a partner.
bool MappingSearch::rulesOut(const Level &level, int partner) const {
    if (walks_) return isRequired(level.code) && !walks_->allow(level.atom, partner);
    return allRequired_ &&
           mapping_.patternBonds.of(level.atom).size() > mapping_.targetBonds.of(partner).size();
}

/// Step back to the first pair that turns out to be ruled out, if there is one.
void MappingSearch::countWalks() {
    if (walks_)
        walks_->lengthen();
    else
        walks_.emplace(mapping_);
    retreatsToWalks_ *= retreatsGrowth;
    const auto ruledOut = [this](const Level &level) {
        return rulesOut(level, mapping_.partnerOf(level.atom));
    };
    const auto last = std::ranges::find_if(levels_, ruledOut);
    if (last == levels_.end()) return;
    const auto kept = static_cast<std::size_t>(last - levels_.begin()) + 1;
    while (levels_.size() > kept)
        leave();
}

bool MappingSearch::record(int depth) {
    if (depth < minimum_) return true;
    store_.offer(mapping_.map, depth);
    return depth != target_ || !store_.full();
}

/// Take back what is being tried with the atom, if anything is.
void MappingSearch::reopen(const Level &level) {
    const int value = mapping_.partnerOf(level.atom);
    if (hasPartner(value))
        mapping_.takeBack(level.atom, level.code, level.partnerCode);
    else if (value == MAP_SKIP)
        mapping_.reopen(level.atom, level.code);
}

void MappingSearch::leave() {
    const Level &level = levels_.back();
    reopen(level);
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
    std::array<int, talliedElements> left{};
    for (const Atom &atom : atomsOf(target))
        if (tallied(atom)) ++left[static_cast<std::size_t>(atom.element)];
    for (std::size_t i = 0; i < map.size(); ++i) {
        if (map[i] != MAP_REQUIRED) continue;
        const Atom &atom = pattern.atoms[i];
        if (!tallied(atom) || left[static_cast<std::size_t>(atom.element)]-- == 0) return false;
    }
    return true;
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
/// recorded, and gives them a negative score. False if the host interrupted it.
bool searchMirrorImage(MappingSearch &search, Molecule &target, const Demand &demand,
                       ResultStore &store) {
    int firstMirrored = store.count;
    const int best = firstMirrored > 0 ? store.scores[0] : demand.minimum;
    {
        const MirroredMolecule mirrored(target);
        if (!search.run(demand.fixed, best)) return false;
    }
    if (store.count > 0 && best < store.scores[0]) firstMirrored = 0;
    for (int i = firstMirrored; i < store.count; ++i)
        store.scores[i] = -store.scores[i];
    return true;
}

int runSearch(PartialMapping &mapping, Molecule &target, ResultStore &store, bool tryMirror,
              std::pmr::memory_resource &memory) {
    const Demand demand(mapping.map);
    MappingSearch search(mapping, store, demand, memory);
    const bool mirrorToo = mapping.checkChirality && tryMirror;
    if (!search.run(demand.fixed, demand.minimum)) return failed;
    if (mirrorToo && !searchMirrorImage(search, target, demand, store)) return failed;
    return store.count > 0 ? std::abs(store.scores[0]) : 0;
}

} // namespace

int mapSub(Molecule *A, Molecule *B, int *map, int **solutions, int *scores, int *count,
           int capacity, int *inverse, int checkChirality, int tryMirror) {
    *count = 0;
    if (capacity <= 0) return 0;
    const std::span<int> codes = countedSpan(map, A->atomCount);
    if (!hasRequiredElements(*A, codes, *B)) return 0;
    if (!ensureBondlink(*A) || !ensureBondlink(*B)) return failed;
    const int depth = guarded(failed, [&] {
        std::array<std::byte, usualBytes> buffer;
        std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size());
        std::pmr::vector<int> ownScores(scores ? 0 : static_cast<std::size_t>(capacity), &memory);
        std::pmr::vector<int> ownInverse(inverse ? 0 : atomsOf(*B).size(), MAP_OPTIONAL, &memory);
        const auto inverseCodes = countedSpan(inverse ? inverse : ownInverse.data(), B->atomCount);
        const RestoredArray restoredMap(codes, memory), restoredInverse(inverseCodes, memory);
        ResultStore store{solutions, scores ? scores : ownScores.data(), *count, capacity};
        PartialMapping mapping(*A, *B, codes, inverseCodes, checkChirality != 0, memory);
        return runSearch(mapping, *B, store, tryMirror != 0, memory);
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
