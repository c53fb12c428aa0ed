// Sessions beside each other: the thread sanitizer (preset tsan) looks on for what they share.
#include "saddlefit/interrupt.h"
#include "saddlefit/linesearch.h"
#include "saddlefit/matching.h"
#include "saddlefit/superpose.h"

#include "reaction/session.hpp"
#include "tests/bromomethane.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <bit>
#include <thread>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

using Bits = std::vector<std::uint64_t>;

void append(Bits &bits, const Molecule &mol) {
    const auto add = [&](double value) { bits.push_back(std::bit_cast<std::uint64_t>(value)); };
    for (const Atom &atom : atomsOf(mol))
        for (const double value : {atom.x, atom.y, atom.z})
            add(value);
    for (const Constraint &constraint : countedSpan(mol.constraints, mol.constraintCount))
        add(constraint.value);
}

/// Lay a stored structure over the molecule by the largest mapping.
void append(Bits &bits, Molecule &pattern, Molecule &target) {
    Ints map(static_cast<std::size_t>(pattern.atomCount), MAP_OPTIONAL);
    map[0] = MAP_REQUIRED;
    bits.push_back(
        static_cast<std::uint64_t>(mapSingleSub(&pattern, &target, map.data(), nullptr, 0, 1)));
    bits.push_back(std::bit_cast<std::uint64_t>(
        alignMapMols(&pattern, &target, map.data(), nullptr, nullptr)));
    append(bits, target);
}

/// Reactions with partial and exact matches, mappings and superpositions, by one of a few queries.
Bits work(const Stored &file, int query) {
    Bits bits;
    for (int round = 0; round < 12; ++round) {
        const double length = 2 + 0.05 * ((query + round) % 7);
        const OwnedMol mol = asked(length, round % 2), other = storedStructure("super 2.4");
        bits.push_back(static_cast<std::uint64_t>(startReaction(mol.get(), file.path())));
        append(bits, *mol);
        append(bits, *other, *mol);
        if (round % 3 == 0) staticFree();
        bits.push_back(static_cast<std::uint64_t>(finishReaction(mol.get())));
        append(bits, *mol);
    }
    return bits;
}

struct Sessions : testing::Test {
    const Stored partial{{"none", "super 2.5", "super 2.25", "extra", "sub 3"}};
    const Stored exact{{"super 2.5", "exact 2.25"}};
};

TEST_F(Sessions, AnswerAtOnceAsOneByOne) {
    constexpr int threads = 4;
    std::vector<Bits> alone, atOnce(threads);
    printed([&] {
        for (int query = 0; query < threads; ++query)
            alone.push_back(work(query % 2 ? exact : partial, query));
        std::atomic<int> waiting = threads;
        std::vector<std::jthread> workers;
        for (int query = 0; query < threads; ++query)
            workers.emplace_back([&, query] {
                Session session;
                const Session::Scope scope(session);
                for (--waiting; waiting > 0;)
                    std::this_thread::yield();
                atOnce[static_cast<std::size_t>(query)] = work(query % 2 ? exact : partial, query);
            });
    });
    EXPECT_EQ(atOnce, alone);
    EXPECT_NE(alone[0], alone[1]);
}

TEST_F(Sessions, KeepTheirOwnMatchInterruptAndSettings) {
    const OwnedMol mine = asked(), theirs = asked(2.1), third = asked();
    Session session, inner;
    Ints starts, finishes;
    const auto start = [&](const OwnedMol &mol) {
        starts.push_back(startReaction(mol.get(), partial.path()));
    };
    const auto finish = [&](const OwnedMol &mol) { finishes.push_back(finishReaction(mol.get())); };
    printed([&] {
        start(mine);
        tn003_ = {0.25, 0.5, 7};
        const Session::Scope scope(session);
        finish(theirs); // the only match is the process's
        start(theirs);
        setInterrupt([](void *) { return 1; }, nullptr);
        {
            const Session::Scope nested(inner); // where nobody asks for an end
            start(third);
            finish(third);
        }
        finish(theirs);
        start(theirs);
        finish(theirs);
    });
    EXPECT_EQ(starts, Ints(4, 1));
    EXPECT_EQ(finishes, Ints({0, 1, 1, 0}));
    EXPECT_EQ((std::array{tn003_.ftol, tn003_.gtol, 1.0 * tn003_.maxfev}),
              (std::array{0.25, 0.5, 7.0}));
    EXPECT_EQ(finishReaction(mine.get()), 1);
}

} // namespace
