/// The search for mappings in its plain form, to hold the library's against it.
#pragma once

#include "saddlefit/matching.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"
#include "tests/lists.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace saddlefit::test {

/// What a call leaves in the caller's arrays.
struct Store {
    std::vector<Ints> solutions;
    Ints scores;
    int count = 0;
    int depth = 0;
    Ints map, inverse;

    bool operator==(const Store &) const = default;
};

struct Case {
    OwnedMol A, B;
    Ints map, inverse;
    int capacity;
    bool chirality, mirror;

    Store emptyStore() const {
        const auto room = static_cast<std::size_t>(capacity);
        return {std::vector<Ints>(room, Ints(map.size(), 77)), Ints(room, 77), 0, 0, map, inverse};
    }
};

/// The search without any shortcut: every branch is followed to its end. It is written anew, for
/// one that shared the library's pickers and maps, a switch aside, would share their faults too.
class PlainSearch {
public:
    PlainSearch(Case &given, Store &store) : given_(given), A_(*given.A), B_(*given.B), s_(store) {}

    void run() {
        int tally[256] = {};
        for (int a = 0; a < A_.atomCount; ++a) {
            depth0_ += at(s_.map, a) >= 0;
            minimum_ += at(s_.map, a) >= 0 || required(at(s_.map, a));
            target_ += at(s_.map, a) != -1;
            tally[A_.atoms[a].element] += at(s_.map, a) == -7;
        }
        for (int b = 0; b < B_.atomCount; ++b)
            --tally[B_.atoms[b].element];
        if (std::any_of(tally, tally + 256, [](int n) { return n > 0; })) return;
        search(depth0_);
        if (given_.chirality && given_.mirror) runMirrored();
        s_.depth = s_.count ? std::abs(s_.scores[0]) : 0;
    }

private:
    static bool required(int code) { return code >= -7 && code <= -5; }
    static bool relaxed(int code) { return code < -1 && code > -7 && code != -4; }
    static int lowest(const Ints &map) {
        return map.empty() ? 0 : std::min(0, *std::min_element(map.begin(), map.end()));
    }

    void runMirrored() {
        int first = s_.count;
        const int best = first ? s_.scores[0] : minimum_;
        minimum_ = best;
        mirrorRS(&B_);
        search(depth0_);
        mirrorRS(&B_);
        if (s_.count && best < s_.scores[0]) first = 0;
        for (int i = first; i < s_.count; ++i)
            at(s_.scores, i) *= -1;
    }

    bool search(int depth) {
        int p = -1;
        const Ints candidates = depth == 0 ? pickStart(p) : pickNext(p);
        if (candidates.empty()) return record(depth);
        const int code = at(s_.map, p);
        bool goOn = true;
        for (std::size_t i = 0; i < candidates.size() && goOn; ++i) {
            at(s_.map, p) = candidates[i];
            const int before = std::exchange(at(s_.inverse, candidates[i]), p);
            goOn = search(depth + 1);
            at(s_.inverse, candidates[i]) = before;
        }
        at(s_.map, p) = -1;
        if (goOn && !required(code)) goOn = search(depth);
        at(s_.map, p) = code;
        return goOn;
    }

    bool record(int depth) {
        if (depth < minimum_) return true;
        const bool deeper = s_.count == 0 || depth > s_.scores[0];
        if (deeper) s_.count = 0;
        if (deeper || (depth == s_.scores[0] && s_.count < given_.capacity)) {
            at(s_.scores, s_.count) = depth;
            at(s_.solutions, s_.count++) = s_.map;
        }
        return depth != target_ || s_.count != given_.capacity;
    }

    Ints pickStart(int &p) const {
        Ints best;
        const int m = lowest(s_.map);
        for (int a = 0; m < -1 && a < A_.atomCount; ++a) {
            Ints list;
            for (int b = 0; at(s_.map, a) == m && b < B_.atomCount; ++b)
                if (at(s_.inverse, b) < 0 && elementFits(a, b)) list.push_back(b);
            if (better(list, best)) p = a, best = list;
        }
        return best;
    }

    Ints pickNext(int &p) const {
        Ints best;
        const int m = lowest(s_.map), t = lowest(s_.inverse);
        if (m >= -1) return {};
        const bool flag = std::any_of(s_.map.begin(), s_.map.end(), relaxed);
        bool done = !required(m), last = false;
        for (int k = m; !last; ++k) {
            last = relaxed(k);
            for (int a = 0; a < A_.atomCount; ++a) {
                const int partner = at(s_.map, a);
                if (partner < 0) continue;
                for (const Neighbour q : neighboursOf(A_, a)) {
                    if (at(s_.map, q.atom) != k) continue;
                    last = true;
                    done = done || required(k);
                    Ints list;
                    for (const Neighbour r : neighboursOf(B_, partner))
                        if (at(s_.inverse, r.atom) == t && canMap(q.atom, r.atom))
                            list.push_back(r.atom);
                    if (better(list, best)) p = q.atom, best = list;
                }
            }
            last = last || !flag;
        }
        return done ? best : pickStart(p);
    }
    static bool better(const Ints &list, const Ints &best) {
        return !list.empty() && (best.empty() || list.size() < best.size());
    }

    bool elementFits(int q, int r) const {
        const int code = at(s_.map, q), own = A_.atoms[q].element, far = B_.atoms[r].element;
        if (!relaxed(code)) return own == far;
        return code == -6 || code == -3 || own < 2 || far > 1;
    }

    static bool bondsFit(Molecule &own, int q, const Ints &partners, Molecule &other, int r,
                         bool anyType) {
        for (const Neighbour next : neighboursOf(own, q)) {
            if (at(partners, next.atom) < 0) continue;
            const Bond *like = getBond(&other, r, at(partners, next.atom));
            if (!like || (!anyType && like->type != next.bond->type)) return false;
        }
        return true;
    }

    bool canMap(int q, int r) const {
        const bool anyType = relaxed(at(s_.map, q));
        if (!elementFits(q, r) || !bondsFit(A_, q, s_.map, B_, r, anyType) ||
            !bondsFit(B_, r, s_.inverse, A_, q, anyType))
            return false;
        if (!given_.chirality) return true;
        const int code = std::exchange(at(s_.map, q), r);
        const int inverseCode = std::exchange(at(s_.inverse, r), q);
        bool agree = true;
        for (const Neighbour u : neighboursOf(A_, q))
            if (at(s_.map, u.atom) >= 0) agree = agree && handAgrees(u.atom, at(s_.map, u.atom));
        at(s_.map, q) = code;
        at(s_.inverse, r) = inverseCode;
        return agree && handAgrees(q, r);
    }

    bool handAgrees(int a, int b) const {
        std::vector<const Atom *> own, far, unmapped, free;
        for (const Neighbour next : neighboursOf(A_, a)) {
            const int partner = at(s_.map, next.atom);
            (partner < 0 ? unmapped : own).push_back(A_.atoms + next.atom);
            if (partner >= 0) far.push_back(B_.atoms + partner);
        }
        for (const Neighbour next : neighboursOf(B_, b))
            if (at(s_.inverse, next.atom) < 0) free.push_back(B_.atoms + next.atom);
        if (own.size() + unmapped.size() != 4 || unmapped.size() > 1) return true;
        if (unmapped.size() == 1 && free.size() != 1) return true;
        if (unmapped.size() == 1) own.push_back(unmapped[0]), far.push_back(free[0]);
        const int s1 = calcChirality(A_.atoms + a, own[0], own[1], own[2], own[3]);
        const int s2 = calcChirality(B_.atoms + b, far[0], far[1], far[2], far[3]);
        return s1 == 0 || s2 == 0 || s1 == s2;
    }

    Case &given_;
    Molecule &A_, &B_;
    Store &s_;
    int depth0_ = 0, minimum_ = 0, target_ = 0;
};

/// The library's answer.
inline Store mapped(Case &given) {
    Store store = given.emptyStore();
    std::vector<int *> rows;
    for (Ints &row : store.solutions)
        rows.push_back(row.data());
    store.depth =
        mapSub(given.A.get(), given.B.get(), store.map.data(), rows.data(), store.scores.data(),
               &store.count, given.capacity, store.inverse.data(), given.chirality, given.mirror);
    return store;
}

} // namespace saddlefit::test
