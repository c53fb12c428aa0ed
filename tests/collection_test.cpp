#include "collection/journal.hpp"
#include "collection/reaction_hash.hpp"
#include "collection/run.hpp"
#include "collection/shipping.hpp"
#include "host/saddle/xtb_surface.hpp"
#include "host/structures/units.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>

namespace {

using namespace saddlefit::collection;

using Bonds = std::set<AtomPair>;

Bonds renumbered(const Bonds &bonds, const std::vector<int> &places) {
    Bonds result;
    for (const auto &[a, b] : bonds)
        result.insert(
            orderedPair(places[static_cast<std::size_t>(a)], places[static_cast<std::size_t>(b)]));
    return result;
}

TEST(ReactionHash, IsTheSameForEveryOrderAndBothDirections) {
    // Vinyl alcohol to acetaldehyde: C C O, then H at C1 (two), C2, O.
    const std::vector<int> elements{6, 6, 8, 1, 1, 1, 1};
    const Bonds before{{0, 1}, {1, 2}, {0, 3}, {0, 4}, {1, 5}, {2, 6}};
    const Bonds after{{0, 1}, {1, 2}, {0, 3}, {0, 4}, {1, 5}, {0, 6}};
    const auto hash = reactionHash(elements, 0, before, after);
    EXPECT_EQ(reactionHash(elements, 0, after, before), hash);
    EXPECT_NE(reactionHash(elements, 1, before, after), hash);

    std::vector<int> places(elements.size());
    std::iota(places.begin(), places.end(), 0);
    Random random(7);
    for (int i = 0; i < 50; ++i) {
        for (std::size_t k = places.size() - 1; k > 0; --k)
            std::swap(places[k], places[random.next() % (k + 1)]);
        std::vector<int> moved(elements.size());
        for (std::size_t k = 0; k < elements.size(); ++k)
            moved[static_cast<std::size_t>(places[k])] = elements[k];
        ASSERT_EQ(reactionHash(moved, 0, renumbered(before, places), renumbered(after, places)),
                  hash);
    }
}

TEST(ReactionHash, TellsApartWhatHasEqualNeighbours) {
    // Two three-rings and a six-ring of the same atoms, with the same bond broken elsewhere.
    const std::vector<int> elements{6, 6, 6, 6, 6, 6, 9, 9};
    const Bonds rest{{6, 7}};
    Bonds six{{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {0, 5}};
    Bonds threes{{0, 1}, {1, 2}, {0, 2}, {3, 4}, {4, 5}, {3, 5}};
    const auto hashOf = [&](Bonds bonds) {
        const auto after = bonds;
        bonds.insert({6, 7});
        return reactionHash(elements, 0, bonds, after);
    };
    EXPECT_NE(hashOf(six), hashOf(threes));
    // The hydrogen that leaves, and another one that does.
    const std::vector<int> water{8, 1, 1, 6};
    EXPECT_NE(reactionHash(water, 0, {{0, 1}, {0, 2}, {0, 3}}, {{0, 1}, {0, 2}}),
              reactionHash(water, 0, {{0, 1}, {0, 2}, {0, 3}}, {{0, 1}, {0, 3}}));
}

TEST(Lewis, DrawsMoleculesAsChemistsDo) {
    struct Case {
        const char *name;
        std::vector<int> elements;
        int charge;
        BondGraph bonds;
        std::vector<int> charges;
        int carbenes;
    };
    const std::vector<Case> cases{
        {"carbon monoxide", {6, 8}, 0, {{0, 1}}, {-1, 1}, 0},
        {"methylene", {6, 1, 1}, 0, {{0, 1}, {0, 2}}, {0, 0, 0}, 1},
        {"ozone", {8, 8, 8}, 0, {{0, 1}, {1, 2}}, {-1, 1, 0}, 0},
        {"hydrogen isocyanide", {1, 7, 6}, 0, {{0, 1}, {1, 2}}, {0, 1, -1}, 0},
        {"aminomethylene",
         {1, 6, 7, 1, 1},
         0,
         {{0, 1}, {1, 2}, {2, 3}, {2, 4}},
         {0, 0, 0, 0, 0},
         1},
        {"methyl cation", {6, 1, 1, 1}, 1, {{0, 1}, {0, 2}, {0, 3}}, {1, 0, 0, 0}, 0},
        {"sulfur dioxide", {16, 8, 8}, 0, {{0, 1}, {0, 2}}, {0, 0, 0}, 0}};
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        const auto drawings = lewisStructures({one.elements, one.charge, 0}, one.bonds);
        ASSERT_FALSE(drawings.empty());
        EXPECT_EQ(drawings[0].carbenes, one.carbenes);
        auto charges = drawings[0].charges, expected = one.charges;
        if (one.elements[0] == one.elements.back()) { // either end of ozone
            std::sort(charges.begin(), charges.end());
            std::sort(expected.begin(), expected.end());
        }
        EXPECT_EQ(charges, expected);
    }
    const Species methane{{6, 1, 1, 1, 1, 1}, 0, 0};
    EXPECT_TRUE(lewisStructures(methane, {{0, 1}, {0, 2}, {0, 3}, {0, 4}}).empty()); // a bare atom
    EXPECT_TRUE(lewisStructures(methane, {{0, 1}, {0, 2}, {0, 3}, {0, 4}, {0, 5}}).empty());
}

/// Formaldehyde to hydroxymethylene.
VerifiedSaddle goodSaddle() {
    VerifiedSaddle good;
    good.species = {{6, 8, 1, 1}, 0, 0};
    good.reactant = lewisStructures(good.species, {{0, 1}, {0, 2}, {0, 3}}).front();
    good.product = lewisStructures(good.species, {{0, 1}, {0, 2}, {1, 3}}).front();
    good.wavenumber = -1500;
    good.saddleEnergy = 80 / kcalPerHartree;
    good.productEnergy = 40 / kcalPerHartree;
    return good;
}

TEST(Filters, NameWhatKeepsASaddleOut) {
    const auto good = goodSaddle();
    EXPECT_EQ(objectionTo(good), "");
    struct Case {
        const char *objection;
        void (*spoil)(VerifiedSaddle &);
    };
    const Case cases[] = {
        {"soft mode", [](VerifiedSaddle &saddle) { saddle.wavenumber = -99; }},
        {"no Lewis structure", [](VerifiedSaddle &saddle) { saddle.reactant = {}; }},
        {"no ordinary Lewis structure", [](VerifiedSaddle &saddle) { ++saddle.product.carbenes; }},
        {"no barrier",
         [](VerifiedSaddle &saddle) { saddle.productEnergy = 79.1 / kcalPerHartree; }},
        {"barrier too high",
         [](VerifiedSaddle &saddle) { saddle.saddleEnergy = 130.1 / kcalPerHartree; }}};
    for (const auto &[objection, spoil] : cases) {
        auto saddle = good;
        spoil(saddle);
        EXPECT_EQ(objectionTo(saddle), objection);
    }
}

TEST(Shipping, TakesTheLowestSaddleAndLeavesOutWhatIsWithdrawn) {
    const auto folder = std::filesystem::path(testing::TempDir()) / "saddlefit-shipping";
    std::filesystem::remove_all(folder);
    const auto note = [&](const char *outcome, const char *hash, double kcal) {
        auto saddle = goodSaddle();
        saddle.hash = hash;
        saddle.product.carbenes = 0; // of which there would be too many
        saddle.saddleEnergy = kcal / kcalPerHartree;
        for (auto *at : {&saddle.atReactant, &saddle.atSaddle, &saddle.atProduct})
            *at = Eigen::VectorXd::LinSpaced(12, 0, 9);
        Journal(folder.string())
            .add({"C=O 0", 0, "f", outcome, hash, 1}, jsonText(recordOf(saddle)));
    };
    note("accepted", "0123456789", 80);
    note("accepted as another", "abcdefghij", 80);
    note(AttemptLine::lowerOutcome, "0123456789", 70);
    const Journal journal(folder.string());
    EXPECT_EQ(journal.acceptedOf("f"), 2);
    EXPECT_NEAR(journal.known().at("0123456789") * kcalPerHartree, 70, 1e-4);
    const auto shipped = shippedFrom(journal, {{"abcdefghij", "a reason"}});
    ASSERT_EQ(shipped.size(), 1u);
    EXPECT_EQ(shipped[0].name, "f 01234567");
    EXPECT_NEAR(shipped[0].record.at("barrier_kcal"), 70, 1e-2);
    std::filesystem::remove_all(folder);
}

TEST(Families, FillSlotsAndHydrogens) {
    const auto families = readFamilies("# a comment\n"
                                       "family keto-enol 3\n"
                                       "react [H:1][C:2]({R})[C:3]=[O:4] | 1-2- 2-3+ 3-4- 1-4+\n"
                                       "R [H] C F\n",
                                       1);
    ASSERT_EQ(families.size(), 1u);
    ASSERT_EQ(families[0].members.size(), 3u);
    const auto &parent = families[0].members[0];
    EXPECT_EQ(withHydrogens(parent.smiles), "[H:1][CH1:2]([H])[CH1:3]=[O:4]");
    EXPECT_EQ(withHydrogens("[Cl-:1].[CH2:2][Br:3]"), "[Cl-:1].[CH2:2][Br:3]");
    const auto molecule = moleculeFrom(withHydrogens(parent.smiles), Embedding::none);
    const auto proposal = proposalOf(molecule, parent);
    EXPECT_EQ(smilesOf(molecule.species, proposal.product), "OC=C");
    for (const char *bad : {"family a", "family a 1\nreact C | 1~2", "word"})
        EXPECT_THROW(readFamilies(bad, 1), Error) << bad;
}

std::string contents(const std::filesystem::path &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What came of three tiny molecules, in runs of so many attempts.
std::string collected(const std::filesystem::path &folder, std::size_t attemptsAtOnce) {
    RunOptions options;
    options.state = folder.string();
    options.work.rounds = 1;
    options.work.proposalsPerRound = 2;
    options.work.largestSeed = 0;
    options.mostAttempts = attemptsAtOnce;
    std::string before = "none";
    while (before != contents(folder / "attempts.tsv")) {
        before = contents(folder / "attempts.tsv");
        run({}, {"C#N", "C=O", "N=N"}, options, [](const AttemptLine &) {});
        std::ofstream(folder / "records.jsonl", std::ios::app)
            << "{\"half a rec"; // as after a kill
    }
    std::filesystem::resize_file(folder / "records.jsonl",
                                 contents(folder / "records.jsonl").size() - 11);
    return before + contents(folder / "records.jsonl");
}

TEST(Run, GoesOnAfterAKillAsIfThereHadBeenNone) {
    try {
        xtbSurface({{1, 1}, 0, 0});
    } catch (const Error &error) {
        GTEST_SKIP() << error.what();
    }
    const auto folder = std::filesystem::path(testing::TempDir()) / "saddlefit-collection";
    std::filesystem::remove_all(folder);
    const auto whole = collected(folder / "whole", 0);
    EXPECT_NE(whole.find("\taccepted\t"), std::string::npos) << whole;
    EXPECT_EQ(collected(folder / "pieces", 1), whole);
    std::filesystem::remove_all(folder);
}

} // namespace
