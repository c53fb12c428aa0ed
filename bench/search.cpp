// The whole search of an open database, beside that of a file that is read from its beginning, and
// how much of its time mapping and superposition take. The linker hands the library's calls of
// these to the functions here.
#include "reactions.hpp"

#include <chrono>
#include <cstdio>

namespace {

double inMapping, inSuperposition; // seconds

using Clock = std::chrono::steady_clock;

template <class Work> auto timed(double &seconds, Work work) {
    const auto start = Clock::now();
    auto result = work();
    seconds += std::chrono::duration<double>(Clock::now() - start).count();
    return result;
}

} // namespace

extern "C" {
decltype(mapSub) __real_mapSub, __wrap_mapSub;
decltype(mapSingleSub) __real_mapSingleSub, __wrap_mapSingleSub;
decltype(alignMapMol) __real_alignMapMol, __wrap_alignMapMol;

int __wrap_mapSub(Molecule *A, Molecule *B, int *map, int **solutions, int *scores, int *count,
                  int capacity, int *inverse, int checkChirality, int tryMirror) {
    return timed(inMapping, [&] {
        return __real_mapSub(A, B, map, solutions, scores, count, capacity, inverse, checkChirality,
                             tryMirror);
    });
}
int __wrap_mapSingleSub(Molecule *A, Molecule *B, int *map, int *inverse, int checkChirality,
                        int tryMirror) {
    return timed(inMapping, [&] {
        return __real_mapSingleSub(A, B, map, inverse, checkChirality, tryMirror);
    });
}
double __wrap_alignMapMol(Molecule *mol, const int *map, int nmap, double *matrix,
                          AlignMapState *state, double *params) {
    return timed(inSuperposition,
                 [&] { return __real_alignMapMol(mol, map, nmap, matrix, state, params); });
}
}

namespace bench {
namespace {

constexpr std::size_t mostQueries = 10;

/// A file, open.
struct Database {
    std::unique_ptr<ReactionDatabase, decltype(&closeReactionDatabase)> open{
        nullptr, &closeReactionDatabase};
    ScratchFile file;
};
using Shared = std::shared_ptr<Database>;

/// Variations of reactions in turn, each under its own code.
std::string recordsOf(const std::vector<Reaction> &reactions, int records) {
    std::string bytes;
    std::mt19937 random(3);
    for (int i = 0; i < records; ++i) {
        const Reaction &reaction = reactions[static_cast<std::size_t>(i) % reactions.size()];
        bytes += blockOf(varied(reaction, random), codeOf(reaction));
    }
    return bytes;
}

Shared databaseOf(const std::string &bytes) {
    const auto database = std::make_shared<Database>();
    std::ofstream(database->file.path(), std::ios::binary) << bytes;
    database->open.reset(openReactionDatabase(database->file.path().c_str()));
    return database;
}

/// The name of the best.
std::string search(const Database &database, Searcher *searcher, const Reaction &query) {
    const Mol mol = question(query);
    const std::unique_ptr<SearchResult, decltype(&freeSearchResult)> result(
        searchReactions(searcher, database.open.get(), mol.get(), nullptr), &freeSearchResult);
    return result->matchCount > 0 ? result->matches[0].structure->name : "";
}

/// The same, which the molecule is given.
std::string searchFile(const Database &database, const Reaction &query) {
    const Mol mol = molecule(query);
    Molecule *match = nullptr;
    int *map = nullptr;
    const bool found = mapDB(database.file.path().c_str(), mol.get(), &match, &map) == 1;
    freeMol(match);
    std::free(map);
    const std::string name = found ? mol->name : "";
    return name.substr(0, name.find(" (Exact)"));
}

void addSearches(const std::string &name, const Shared &database,
                 const std::vector<Reaction> &queries) {
    const std::shared_ptr<Searcher> searcher(createSearcher(), &freeSearcher);
    for (const Reaction &query : queries)
        if (search(*database, searcher.get(), query) != searchFile(*database, query))
            throw std::runtime_error("the answers differ");
    benchmark::RegisterBenchmark((name + "/saddlefit").c_str(), [=](benchmark::State &state) {
        inMapping = inSuperposition = 0;
        const auto start = Clock::now();
        for ([[maybe_unused]] auto _ : state)
            for (const Reaction &query : queries)
                search(*database, searcher.get(), query);
        const double all = std::chrono::duration<double>(Clock::now() - start).count();
        state.counters["items"] = static_cast<double>(queries.size());
        state.counters["mapping"] = inMapping / all;
        state.counters["superposition"] = inSuperposition / all;
    });
    measure(name + "/read from its beginning", queries.size(), [=] {
        for (const Reaction &query : queries)
            searchFile(*database, query);
    });
}

void addSearch() {
    const std::vector<Reaction> reactions = readReactions();
    std::mt19937 random(5);
    std::vector<Reaction> queries;
    for (std::size_t i = 0; i < reactions.size() && queries.size() < mostQueries;
         i += reactions.size() / mostQueries)
        queries.push_back(varied(reactions[i], random));

    for (const int records : {static_cast<int>(reactions.size()), 10000, 100000})
        addSearches("search/any reactions/" + std::to_string(records),
                    databaseOf(recordsOf(reactions, records)), queries);

    // The same, but ten records only have the query's code.
    const Code code = codeOf(queries[0]);
    std::vector<Reaction> others = reactions, same = reactions;
    std::erase_if(others, [&](const Reaction &reaction) { return codeOf(reaction) == code; });
    std::erase_if(same, [&](const Reaction &reaction) { return codeOf(reaction) != code; });
    for (const int records : {10000, 100000}) {
        const Shared database = databaseOf(recordsOf(others, records - 10) + recordsOf(same, 10));
        addSearches("search/ten of the same code/" + std::to_string(records), database,
                    {queries[0]});
    }
}

} // namespace
} // namespace bench

int main(int argc, char **argv) {
    // The search prints what it looks into; that is part of its work, but nobody reads it here.
    if (!std::freopen("/dev/null", "w", stdout)) return 1;
    bench::addSearch();
    return bench::runBenchmarks(argc, argv);
}
