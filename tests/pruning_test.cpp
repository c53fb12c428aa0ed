#include "saddlefit/matching.h"

#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <array>
#include <numeric>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

/// What a call leaves in the caller's arrays.
struct Store {
    std::vector<Ints> solutions;
    Ints scores, map, inverse;
    int count = 0, depth = 0;

    bool operator==(const Store &) const = default;
};

struct Case {
    OwnedMol A, B;
    Ints map, inverse;
    int capacity;
    bool chirality, mirror;

    Store emptyStore() const {
        const auto room = static_cast<std::size_t>(capacity);
        return {std::vector<Ints>(room, Ints(map.size(), 77)), Ints(room, 77), map, inverse};
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
    static int lowest(const Ints &map) { return std::accumulate(map.begin(), map.end(), 0, least); }
    static int least(int a, int b) { return std::min(a, b); }

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

/// A random tree with some rings, some loose parts, and neighbours on all sides in space.
OwnedMol randomMolecule(Dice &dice, int atoms, const Ints &elements, const Ints &types) {
    std::vector<At> placed(static_cast<std::size_t>(atoms));
    for (At &atom : placed)
        atom = {dice.oneOf(elements), dice.below(5) - 2.0, dice.below(5) - 2.0,
                dice.below(5) - 2.0};
    OwnedMol mol = molecule(placed);
    const bool rings = dice.oneIn(2), hub = dice.oneIn(3);
    for (int i = 1; i < atoms; ++i)
        for (int bonds = dice.oneIn(8) ? 0 : rings && dice.oneIn(2) ? 2 : 1; bonds > 0; --bonds) {
            const int other = hub ? dice.below(std::min(i, 2)) : dice.below(i);
            if (getBondNumber(mol.get(), i, other) < 0)
                addBond(mol.get(), i, other, dice.oneOf(types));
        }
    createBondlink(mol.get());
    return mol;
}

/// The codes of a map: one or a mixture, mostly with a few atoms that have to be mapped.
Ints randomCodes(Dice &dice, int atoms) {
    const int core = -7 + dice.below(3) * dice.below(2), rest = dice.oneOf({-7, -4, -4, -3, -2});
    const int kind = dice.below(4);
    Ints codes(static_cast<std::size_t>(atoms), rest);
    for (int &code : codes)
        if (kind == 0 || dice.oneIn(8)) code = kind < 2 ? -1 - dice.below(7) : core;
    return codes;
}

Case randomCase(Dice &dice) {
    const Ints elements = dice.oneOf({0, 1}) ? Ints{6} : Ints{6, 6, 8, 1, 0};
    const Ints types = dice.oneIn(2) ? Ints{1} : Ints{1, 1, 2, 5};
    Case drawn;
    drawn.A = randomMolecule(dice, dice.below(8), elements, types);
    drawn.B = randomMolecule(dice, dice.below(9), elements, types);
    drawn.map = randomCodes(dice, drawn.A->atomCount);
    drawn.inverse = randomCodes(dice, drawn.B->atomCount);
    if (dice.oneIn(3) && std::min(drawn.A->atomCount, drawn.B->atomCount) > 0) {
        const int own = dice.below(drawn.A->atomCount), far = dice.below(drawn.B->atomCount);
        at(drawn.map, own) = far;
        if (!dice.oneIn(3)) at(drawn.inverse, far) = own; // a caller may leave it on offer
    }
    drawn.capacity = dice.oneOf({1, 1, 2, 3, 12, 60});
    drawn.chirality = dice.oneIn(2);
    drawn.mirror = dice.oneIn(2);
    return drawn;
}

Store mapped(Case &given) {
    Store store = given.emptyStore();
    std::vector<int *> rows;
    for (Ints &row : store.solutions)
        rows.push_back(row.data());
    store.depth =
        mapSub(given.A.get(), given.B.get(), store.map.data(), rows.data(), store.scores.data(),
               &store.count, given.capacity, store.inverse.data(), given.chirality, given.mirror);
    return store;
}

TEST(Pruning, LeavesEverythingThatASearchWithoutItWrites) {
    Dice dice(11);
    int several = 0, mirrored = 0, nothing = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        SCOPED_TRACE(trial);
        Case given = randomCase(dice);
        Store expected = given.emptyStore();
        PlainSearch(given, expected).run();
        const Store found = mapped(given);
        ASSERT_EQ(found.solutions, expected.solutions); // those behind `count` too
        ASSERT_EQ(found, expected);
        several += found.count > 1 && found.depth > 2;
        mirrored += found.count > 0 && found.scores[static_cast<std::size_t>(found.count) - 1] < 0;
        nothing += found.count == 0;
    }
    EXPECT_GT(std::min({several, mirrored, nothing}), 500);
}

/// Two chains of fused four-membered rings, all atoms alike, of which nothing has to be mapped:
/// without pruning, 24 atoms take ten seconds and each two more three times as long.
TEST(Pruning, MapsALadderOntoItselfAtOnce) {
    constexpr int atoms = 60;
    const std::vector<At> carbons(atoms, {6});
    const Ints codes(atoms, -4);
    Case given{molecule(carbons), molecule(carbons), codes, codes, 12, false, false};
    for (Molecule *mol : {given.A.get(), given.B.get()})
        for (int i = 1; i < atoms; ++i) {
            if (i % 2) addBond(mol, i - 1, i, 1);
            if (i > 1) addBond(mol, i - 2, i, 1);
        }
    const Store found = mapped(given);
    EXPECT_EQ(found.depth, atoms);
    EXPECT_EQ(found.count, 4); // as many as a ladder has symmetries
}

} // namespace
