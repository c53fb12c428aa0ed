#include "saddlefit/host.h"
#include "saddlefit/matching.h"
#include "saddlefit/search.h"
#include "saddlefit/store.h"
#include "saddlefit/superpose.h"

#include "molecule/copy.hpp"
#include "tests/bromomethane.hpp"
#include "tests/reaction_files.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <limits>
#include <memory>
#include <set>
#include <thread>
#include <utility>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

template <auto release> struct Release {
    template <class T> void operator()(T *object) const { release(object); }
};
using Database = std::unique_ptr<ReactionDatabase, Release<closeReactionDatabase>>;
using OwnedSearcher = std::unique_ptr<Searcher, Release<freeSearcher>>;
using Result = std::unique_ptr<SearchResult, Release<freeSearchResult>>;

template <class List> int countOf(const List &list) {
    return static_cast<int>(list.size());
}

Result ask(const ReactionDatabase *database, const Molecule &mol, const SearchOptions &options) {
    const OwnedSearcher searcher(createSearcher());
    Result result;
    EXPECT_EQ(
        printed([&] { result.reset(searchReactions(searcher.get(), database, &mol, &options)); }),
        "");
    return result;
}

/// The molecule asked for as it is before its bromine leaves.
OwnedMol reactant(double length = 2, bool mirrored = false) {
    OwnedMol mol = asked(length, mirrored);
    mol->bonds[0]->type = 1;
    return mol;
}

struct Fate {
    SearchStage stage;
    const char *before;
    int score, weightBefore;
    const char *after = "";
    int depth = 0, weightAfter = 0;
};

/// The figures are those that mapDB() prints of these structures.
TEST(Reporting, TellsHowFarEachCandidateCame) {
    const char *const none = "none", *const super = "super", *const exact = "exact";
    const struct {
        std::vector<std::string> stored;
        std::vector<Fate> fates;
        std::vector<int> leftOut;
    } rows[] = {
        {{"super", "sub", "none", "far", "extra", "hostile"},
         {{SEARCH_CHOSEN, super, 4, 8, super, 4, 8},
          {SEARCH_CLASS_AFTER, exact, 4, 8, "sub", 4, 8},
          {SEARCH_COMPOSITION, none, 3, 3},
          {SEARCH_WEIGHT_BEFORE, super, 4, 6},
          {SEARCH_WEIGHT_AFTER, super, 4, 10, super, 4, 7},
          {SEARCH_ELEMENTS, "", 0, 0}},
         {}},
        {{"super 2.5", "super 2.25", "super 2.250", "unmapped"},
         {{SEARCH_CONTEST, super, 4, 8, super, 4, 8},
          {SEARCH_CHOSEN, super, 4, 8, super, 4, 8},
          {SEARCH_CONTEST, super, 4, 8, super, 4, 8},
          {SEARCH_MAPPING, exact, 4, 8}},
         {}},
        {{"none", "exact", "super"},
         {{SEARCH_CONTEST, none, 3, 3, none, 3, 3},
          {SEARCH_EXACT, exact, 4, 8, exact, 4, 8},
          {SEARCH_NOT_REACHED, "", 0, 0}},
         {}},
        {{"exact", "super", "none"},
         {{SEARCH_LEFT_OUT, "", 0, 0},
          {SEARCH_CHOSEN, super, 4, 8, super, 4, 8},
          {SEARCH_COMPOSITION, none, 3, 3}},
         {7, 0}},
    };
    for (const auto &[stored, fates, leftOut] : rows) {
        SCOPED_TRACE(stored.front());
        std::vector<Molecule *> molecules;
        for (const std::string &name : stored) {
            const bool unmapped = name == "unmapped"; // its C-Br bond is of another type
            molecules.push_back(storedStructure(unmapped ? "exact" : name).release());
            molecules.back()->bonds[0]->type = unmapped ? 1 : 0;
            C_setName(molecules.back(), name.c_str());
        }
        const Database database(openReactionMolecules(molecules.data(), countOf(molecules)));
        SearchOptions options{};
        options.leftOut = leftOut.data();
        options.leftOutCount = countOf(leftOut);
        const Result result = ask(database.get(), *reactant(), options);
        ASSERT_TRUE(result);
        ASSERT_EQ(result->candidateCount, countOf(stored));
        for (std::size_t i = 0; i < stored.size(); ++i) {
            SCOPED_TRACE(stored[i]);
            const CandidateReport &report = result->candidates[i];
            const Fate &fate = fates[i];
            EXPECT_EQ(report.name, stored[i]);
            EXPECT_EQ(report.record, static_cast<int>(i));
            EXPECT_EQ(report.stage, fate.stage);
            EXPECT_STREQ(searchClassName(report.classBefore), fate.before);
            EXPECT_EQ(Ints({report.score, report.weightBefore}),
                      Ints({fate.score, fate.weightBefore}));
            EXPECT_STREQ(searchClassName(report.classAfter), fate.after);
            EXPECT_EQ(Ints({report.depth, report.weightAfter}),
                      Ints({fate.depth, fate.weightAfter}));
        }
    }
}

TEST(Reporting, LeavesOutDamagedRecordsIfAsked) {
    const auto damaged = [](auto damage) {
        OwnedMol mol = storedStructure("exact");
        damage(*mol);
        return mol.release();
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    Molecule *molecules[] = {damaged([&](Molecule &mol) { mol.atoms[3].y = nan; }),
                             damaged([](Molecule &mol) { mol.bonds[3]->atom2 = 65535; }),
                             damaged([](Molecule &mol) { mol.bonds[3]->atom2 = 65534; })};
    const Database database(openReactionMolecules(molecules, 3));
    SearchOptions options{};
    options.soundOnly = 1;
    const Result result = ask(database.get(), *reactant(), options);
    EXPECT_EQ(result->candidates[0].stage, SEARCH_NOT_FINITE);
    EXPECT_EQ(result->candidates[1].stage, SEARCH_DAMAGED);
    EXPECT_EQ(result->candidates[2].stage, SEARCH_CHOSEN) << "only its hydrogen is loose";

    const TemporaryFile file; // a record under a code that is not its own
    const int code[] = {6, 35, 0};
    ASSERT_EQ(insertDB(file.path(), strdup("liar"), code, storedStructure("other").get()), 1);
    const std::string bytes = bytesOf(file.path());
    const Database liar(openReactionBytes(bytes.data(), bytes.size()));
    const Result reported = ask(liar.get(), *reactant(), options);
    ASSERT_EQ(reported->candidateCount, 1);
    EXPECT_EQ(reported->candidates[0].stage, SEARCH_DAMAGED);
}

std::vector<std::uint64_t> bitsOf(const Molecule &mol) {
    std::vector<std::uint64_t> bits;
    for (const Atom &atom : atomsOf(mol))
        for (const double value : {atom.x, atom.y, atom.z, static_cast<double>(atom.frozen)})
            bits.push_back(std::bit_cast<std::uint64_t>(value));
    for (const Constraint &constraint : constraintsOf(mol)) {
        for (const int atom : {constraint.a, constraint.b, constraint.c, constraint.d})
            bits.push_back(static_cast<std::uint64_t>(atom));
        bits.push_back(std::bit_cast<std::uint64_t>(constraint.value));
    }
    return bits;
}

/// Three bromines leave a carbon, so that each of these structures maps in several ways. Their
/// neighbourhoods differ, and so classes and weights do.
OwnedMol scattered(Dice &dice, int extra) {
    std::normal_distribution<double> noise(0, 0.3);
    std::vector<At> atoms = {{6, 0, 0, 0}, {35, 2, 0, 0}, {35, 0, 2.2, 0}, {35, 0, 0, 2.4}};
    atoms.push_back({extra % 2 ? 9 : 8, -1, -1, -1});
    if (extra / 2) atoms.push_back({extra / 2 == 1 ? 6 : 1, -2, -1, -1});
    std::string bonds = "0 1 0, 0 2 0, 0 3 0, 0 4 1";
    if (extra / 2) bonds += ", 4 5 1";
    for (At &atom : atoms)
        for (double *value : {&atom.x, &atom.y, &atom.z})
            *value += noise(dice.engine);
    return molecule(atoms, bonds, {{0, 1, -1, -1}, {0, 2, -1, -1}, {0, 3, -1, -1}});
}

/// A few bytes that claim the greatest counts cost no memory, and hide none of the others.
TEST(Reporting, RecordsThatDoNotFitTheirBlocksAreNoCandidates) {
    const Stored stored({"exact"});
    const auto sound = bytesOf(stored.path());
    const auto at = [&](std::size_t place) { return static_cast<unsigned char>(sound[place]); };
    const std::size_t codes = STORE_HEADER_SIZE + 2U + at(STORE_HEADER_SIZE);
    const std::size_t counts = codes + 2 + 2U * at(codes);
    auto claims = sound.substr(0, counts) + std::string(6, '\xFF');
    claims[0] = static_cast<char>(claims.size() - STORE_HEADER_SIZE);
    const auto file = claims + sound + claims;
    const Database database(openReactionBytes(file.data(), file.size()));
    const auto result = ask(database.get(), *reactant(), {});
    ASSERT_EQ(result->candidateCount, 1);
    EXPECT_EQ(result->candidates[0].record, 1);
    int visited = 0;
    const auto count = [](Molecule *one, int, void *number) {
        freeMol(one);
        ++*static_cast<int *>(number);
        return 0;
    };
    EXPECT_EQ(visitReactions(database.get(), nullptr, count, &visited), 1);
    EXPECT_EQ(visited, 1);
}

/// The definition of the best k, with a file for each search.
TEST(Reporting, FurtherMatchesAreThoseOfSearchesWithoutTheFormer) {
    Dice dice(5);
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE(round);
        const TemporaryFile all;
        std::vector<OwnedMol> stored;
        for (int i = 0; i < 7; ++i) {
            stored.push_back(scattered(dice, dice.below(6)));
            store(all, std::to_string(i), *stored.back());
        }
        OwnedMol mol = scattered(dice, 3);
        for (int bond = 0; bond < 3; ++bond)
            mol->bonds[bond]->type = 1;
        SearchOptions options{};
        options.best = 4;
        const Database database(openReactionDatabase(all.path()));
        const Result result = ask(database.get(), *mol, options);
        ASSERT_TRUE(result);
        std::set<int> chosen;
        for (int rank = 0; rank < result->matchCount; ++rank) {
            const SearchMatch &match = result->matches[rank];
            const TemporaryFile left;
            for (int i = 0; i < 7; ++i)
                if (!chosen.contains(i)) store(left, std::to_string(i), *at(stored, i));
            const OwnedMol same = copyOf(*mol);
            applyTransition(same.get());
            Found found = search(left.path(), *same);
            if (match.exact) {
                EXPECT_EQ(same->name, std::to_string(match.candidate) + " (Exact)");
                for (int i = 0; i < same->atomCount; ++i)
                    EXPECT_EQ(same->atoms[i].x, match.structure->atoms[match.map[i]].x);
                EXPECT_EQ(rank + 1, result->matchCount) << "none behind it";
                break;
            }
            ASSERT_TRUE(found.match);
            EXPECT_EQ(found.match->name, std::to_string(match.candidate));
            EXPECT_EQ(found.partners(same->atomCount), Ints(match.map, match.map + mol->atomCount));
            EXPECT_EQ(bitsOf(*match.structure), bitsOf(*found.match));
            double stay[16];
            EXPECT_EQ(match.misfit,
                      alignMapMols(same.get(), found.match.get(), found.map.get(), stay, stay));
            chosen.insert(match.candidate);
        }
        EXPECT_TRUE(result->matchCount == 4 || !chosen.contains(result->matches[0].candidate));
    }
}

/// What a host sees of a reaction from start to finish.
struct Ran {
    int started, finished;
    std::string name;
    std::vector<std::uint64_t> between, after;

    bool operator==(const Ran &) const = default;
};

template <class Start, class Finish>
Ran run(const Molecule &reactant, const Start &start, const Finish &finish) {
    const OwnedMol mol = copyOf(reactant);
    Ran ran;
    ran.started = start(mol.get());
    ran.between = bitsOf(*mol);
    if (mol->atomCount > 1) mol->atoms[0].x += 0.25;
    ran.finished = finish(mol.get());
    ran.after = bitsOf(*mol);
    ran.name = mol->name ? mol->name : "";
    return ran;
}

Ran runFlat(const Molecule &reactant, const char *path) {
    Ran ran;
    printed([&] {
        ran = run(
            reactant, [&](Molecule *mol) { return C_startReaction(mol, path); }, C_finishReaction);
    });
    return ran;
}

Ran runIn(Searcher &searcher, const Molecule &reactant, const ReactionDatabase *database) {
    return run(
        reactant, [&](Molecule *mol) { return searcherStart(&searcher, mol, database); },
        [&](Molecule *mol) { return searcherFinish(&searcher, mol); });
}

TEST(Starting, OnADatabaseOrAMatchIsAsOnAFile) {
    const OwnedSearcher searcher(createSearcher());
    for (const auto &names : {std::vector<std::string>{"none", "exact 2.25"},
                              {"far 3", "super 2.5", "none"},
                              {"other"}}) {
        for (const bool mirrored : {false, true}) {
            SCOPED_TRACE(names.front() + (mirrored ? ", mirrored" : ""));
            const Stored file(names);
            const OwnedMol mol = reactant(2, mirrored);
            const Ran flat = runFlat(*mol, file.path());
            const Database database(openReactionDatabase(file.path()));
            EXPECT_EQ(runIn(*searcher, *mol, database.get()), flat);
            const Result result = ask(database.get(), *mol, {});
            ASSERT_EQ(result->matchCount, names.front() == "other" ? 0 : 1);
            if (result->matchCount == 0) continue;
            const SearchMatch &match = result->matches[0];
            EXPECT_EQ(match.mirrored, mirrored ? 1 : 0);
            const auto startOn = [&](Molecule *started) {
                return searcherStartOn(searcher.get(), started, &match);
            };
            const auto finish = [&](Molecule *started) {
                return searcherFinish(searcher.get(), started);
            };
            EXPECT_EQ(run(*mol, startOn, finish), flat);
            addAtom(mol.get(), 0, 0, 9, 1);
            EXPECT_EQ(startOn(mol.get()), -1) << "not the molecule that was searched for";
        }
    }
}

TEST(Starting, IsRefusedWithoutASearcherOrAMolecule) {
    const OwnedSearcher searcher(createSearcher());
    const OwnedMol mol = reactant();
    EXPECT_EQ(searcherStart(nullptr, mol.get(), nullptr), 1);
    EXPECT_EQ(searcherStartOn(searcher.get(), mol.get(), nullptr), -1);
    EXPECT_EQ(searcherFinish(searcher.get(), nullptr), 0);
    EXPECT_EQ(searcherFinish(searcher.get(), mol.get()), 0) << "nothing is held";
    EXPECT_EQ(searchReactions(searcher.get(), nullptr, mol.get(), nullptr), nullptr);
    EXPECT_EQ(openReactionDatabase("/nowhere/at/all"), nullptr);
    EXPECT_EQ(mol->bonds[0]->type, 1) << "and the molecule is as it was";
}

TEST(Starting, GivesUpWhenItsOwnInterruptSaysSo) {
    const Stored file({"super", "super 2.5"});
    const Database database(openReactionDatabase(file.path()));
    const OwnedSearcher hurried(createSearcher()), patient(createSearcher());
    setSearcherInterrupt(
        hurried.get(), [](void *) { return 1; }, nullptr);
    const Result none(searchReactions(hurried.get(), database.get(), reactant().get(), nullptr));
    const Result one(searchReactions(patient.get(), database.get(), reactant().get(), nullptr));
    EXPECT_EQ(Ints({none->interrupted, none->matchCount, one->interrupted, one->matchCount}),
              Ints({1, 0, 0, 1}));
}

/// Every second reaction is stored, and all are asked.
struct Question {
    OwnedMol reactant;
    Ran expected;
};

std::vector<Question> questionsFrom(const std::string &folder, const char *prefix,
                                    const TemporaryFile &file) {
    const auto read = [&](const char *side) { return readSides(folder + prefix + side + ".sdf"); };
    const auto reactants = read("reactants"), products = read("products"), states = read("ts");
    std::vector<Question> questions;
    for (std::size_t i = 0; i < reactants.size(); ++i) {
        const Side &before = reactants[i], &after = products[i];
        if (i % 2 == 0) {
            const OwnedMol state = reactionMolecule(before, after, states[i]);
            applyTransition(state.get());
            store(file, before.title, *state);
        }
        questions.push_back({reactionMolecule(before, after, before), {}});
    }
    for (Question &question : questions)
        question.expected = runFlat(*question.reactant, file.path());
    return questions;
}

/// Each thread asks them all, in an order of its own, of one database.
void expectSameInThreads(const std::vector<Question> &questions, const char *path) {
    constexpr std::size_t threadCount = 8;
    const Database database(openReactionDatabase(path));
    std::vector<std::thread> threads;
    std::vector<int> differing(threadCount, 0);
    for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            const OwnedSearcher searcher(createSearcher());
            for (std::size_t i = 0; i < questions.size(); ++i) {
                const Question &question =
                    questions[(i + thread * questions.size() / threadCount) % questions.size()];
                if (runIn(*searcher, *question.reactant, database.get()) != question.expected)
                    ++differing[thread];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(differing, std::vector<int>(threadCount, 0));
}

/// With SADDLEFIT_BENCH_REACTIONS in the environment, also on the reactions in that folder.
TEST(Threads, WithASearcherEachAnswerAsOneByOne) {
    std::vector<std::pair<std::string, const char *>> sets{{SADDLEFIT_DATA "/", "parents_"}};
    if (const char *folder = std::getenv("SADDLEFIT_BENCH_REACTIONS"))
        sets.emplace_back(std::string(folder) + "/", "");
    for (const auto &[folder, prefix] : sets) {
        const TemporaryFile file;
        const std::vector<Question> questions = questionsFrom(folder, prefix, file);
        EXPECT_GE(questions.size(), 14U);
        const auto answered = std::ranges::count_if(questions, [](const Question &question) {
            return question.expected.started == 0 || question.expected.finished == 1;
        });
        EXPECT_GE(2 * answered, countOf(questions)) << "half of them are stored";
        expectSameInThreads(questions, file.path());
    }
}

} // namespace
