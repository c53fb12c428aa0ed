#include "saddlefit/reaction.h"
#include "saddlefit/search.h"

#include "molecule/copy.hpp"
#include "molecule/ranges.hpp"
#include "reaction/held_match.hpp"
#include "reaction/reaction_database.hpp"
#include "reaction/search.hpp"
#include "reaction/search_report.hpp"
#include "reaction/session.hpp"

#include <utility>

using namespace saddlefit;

struct Searcher {
    Session session;
};

namespace {

/// mapDB() on an open database, without its lines.
int searchOpen(const ReactionDatabase &database, Molecule &mol, Molecule **match, int **map) {
    const OwnedBlock<int> code(getTransitionCode(&mol));
    if (!code) return 0;
    *match = nullptr;
    *map = nullptr;
    ensureBondlink(mol);
    ReactionDatabase::Stored stored = database.storedWith(terminated(code.get()));
    return searchCandidates(mol, stored.candidates, nullptr, match, map);
}

/// What a search would leave that chose this match.
int takeMatch(const SearchMatch &found, OwnedMol copy, OwnedBlock<int> partners, Molecule &mol,
              Molecule **match, int **map) {
    *match = nullptr;
    *map = nullptr;
    ensureBondlink(mol);
    const Question inItsFrame(mol);
    if (found.exact) {
        takeExact(mol, *copy, found.map);
        return 1;
    }
    takeName(mol, *copy);
    *match = copy.release();
    *map = partners.release();
    return 1;
}

} // namespace

Searcher *createSearcher(void) {
    return guarded<Searcher *>(nullptr, [] { return new Searcher; });
}

void freeSearcher(Searcher *searcher) {
    delete searcher;
}

void setSearcherInterrupt(Searcher *searcher, InterruptCallback callback, void *context) {
    if (!searcher) return;
    const Session::Scope scope(searcher->session);
    setInterrupt(callback, context);
}

int withSearcher(Searcher *searcher, int (*work)(void *context), void *context) {
    if (!searcher || !work) return 0;
    const Session::Scope scope(searcher->session);
    return work(context);
}

SearchResult *searchReactions(Searcher *searcher, const ReactionDatabase *database,
                              const Molecule *mol, const SearchOptions *options) {
    if (!searcher || !database || !mol) return nullptr;
    const Session::Scope scope(searcher->session);
    return guarded<SearchResult *>(nullptr, [&] {
        const SearchOptions bestOfAll = {};
        return reportedSearch(*database, *mol, options ? *options : bestOfAll).release();
    });
}

int searcherStart(Searcher *searcher, Molecule *mol, const ReactionDatabase *database) {
    if (!searcher || !mol) return 1;
    const Session::Scope scope(searcher->session);
    applyTransition(mol);
    if (!database) return 1;
    return Current<HeldMatch>::state().start(*mol, [&](Molecule **match, int **map) {
        return guarded(0, [&] { return searchOpen(*database, *mol, match, map); });
    });
}

int searcherStartOn(Searcher *searcher, Molecule *mol, const SearchMatch *match) {
    if (!searcher || !mol || !match || match->atomCount != mol->atomCount) return -1;
    const Session::Scope scope(searcher->session);
    return guarded(-1, [&] {
        OwnedMol copy = copyOf(*match->structure);
        OwnedBlock<int> partners =
            copyOf(std::span<const int>(countedSpan(match->map, match->atomCount)));
        applyTransition(mol);
        return Current<HeldMatch>::state().start(*mol, [&](Molecule **held, int **map) {
            return takeMatch(*match, std::move(copy), std::move(partners), *mol, held, map);
        });
    });
}

int searcherFinish(Searcher *searcher, Molecule *mol) {
    if (!searcher || !mol) return 0;
    const Session::Scope scope(searcher->session);
    return finishReaction(mol);
}
