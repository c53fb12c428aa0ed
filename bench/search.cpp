// The whole search of a database, and where its time goes: scan, mapping or superposition. The
// linker hands the library's calls between these to the functions here.
#include "reactions.hpp"

#include <chrono>
#include <cstdio>

namespace {

double inScan, inMapping, inSuperposition; // seconds

using Clock = std::chrono::steady_clock;

template <class Work> auto timed(double &seconds, Work work) {
    const auto start = Clock::now();
    auto result = work();
    seconds += std::chrono::duration<double>(Clock::now() - start).count();
    return result;
}

} // namespace

extern "C" {
decltype(readDB) __real_readDB, __wrap_readDB;
decltype(mapSub) __real_mapSub, __wrap_mapSub;
decltype(mapSingleSub) __real_mapSingleSub, __wrap_mapSingleSub;
decltype(alignMapMol) __real_alignMapMol, __wrap_alignMapMol;

char *__wrap_readDB(FILE *stream, const char *name, const int32_t *code, Molecule **mol) {
    return timed(inScan, [&] { return __real_readDB(stream, name, code, mol); });
}
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

using Database = std::shared_ptr<ScratchFile>;

/// Variations of reactions in turn, each under its own code.
Database databaseOf(const std::vector<Reaction> &reactions, int records) {
    const auto file = std::make_shared<ScratchFile>();
    std::ofstream stream(file->path(), std::ios::binary | std::ios::app);
    std::mt19937 random(3);
    for (int i = 0; i < records; ++i) {
        const Reaction &reaction = reactions[static_cast<std::size_t>(i) % reactions.size()];
        stream << blockOf(varied(reaction, random), codeOf(reaction));
    }
    return file;
}

void search(const Database &database, const Reaction &query) {
    const Mol mol = molecule(query);
    Molecule *match = nullptr;
    int *map = nullptr;
    mapDB(database->path().c_str(), mol.get(), &match, &map);
    freeMol(match);
    std::free(map);
}

void addSearches(const std::string &name, const Database &database,
                 const std::vector<Reaction> &queries) {
    benchmark::RegisterBenchmark((name + "/saddlefit").c_str(), [=](benchmark::State &state) {
        inScan = inMapping = inSuperposition = 0;
        const auto start = Clock::now();
        for ([[maybe_unused]] auto _ : state)
            for (const Reaction &query : queries)
                search(database, query);
        const double all = std::chrono::duration<double>(Clock::now() - start).count();
        state.counters["items"] = static_cast<double>(queries.size());
        state.counters["scan"] = inScan / all;
        state.counters["mapping"] = inMapping / all;
        state.counters["superposition"] = inSuperposition / all;
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
                    databaseOf(reactions, records), queries);

    // The same, but ten records only have the query's code.
    const Code code = codeOf(queries[0]);
    std::vector<Reaction> others = reactions, same = reactions;
    std::erase_if(others, [&](const Reaction &reaction) { return codeOf(reaction) == code; });
    std::erase_if(same, [&](const Reaction &reaction) { return codeOf(reaction) != code; });
    for (const int records : {10000, 100000}) {
        const Database database = databaseOf(others, records - 10);
        std::ofstream(database->path(), std::ios::binary | std::ios::app)
            << std::ifstream(databaseOf(same, 10)->path(), std::ios::binary).rdbuf();
        addSearches("search/ten of the same code/" + std::to_string(records), database,
                    {queries[0]});
    }
}

} // namespace
} // namespace bench

int main(int argc, char **argv) {
    bench::addSearch();
    // The search prints what it looks into; that is part of its work, but nobody reads it here.
    if (!std::freopen("/dev/null", "w", stdout)) return 1;
    return bench::runBenchmarks(argc, argv);
}
