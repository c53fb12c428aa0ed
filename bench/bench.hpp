// What the benchmarks share: molecules as plain graphs, and the registering of timed work.
#pragma once

#include "saddlefit/saddlefit.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <unistd.h>
#include <valgrind/callgrind.h>
#include <vector>

namespace bench {

using Mol = std::unique_ptr<Molecule, decltype(&freeMol)>;

struct Bonded {
    int a, b, type;
    auto operator<=>(const Bonded &) const = default;
};

struct Graph {
    std::vector<int> elements;
    std::vector<Bonded> bonds;
    std::vector<std::array<double, 3>> places = {}; // angstrom; may be missing

    std::size_t size() const { return elements.size(); }
};

inline Mol molecule(const Graph &graph) {
    Mol mol(createMol(), &freeMol);
    for (std::size_t i = 0; i < graph.size(); ++i) {
        const auto [x, y, z] = graph.places.empty() ? std::array<double, 3>{} : graph.places[i];
        addAtom(mol.get(), x, y, z, graph.elements[i]);
    }
    for (const auto &[a, b, type] : graph.bonds)
        addBond(mol.get(), a, b, type);
    createBondlink(mol.get());
    return mol;
}

/// The atoms named, in this order, and the bonds among them.
inline Graph piece(const Graph &graph, const std::vector<int> &atoms) {
    std::vector<int> place(graph.size(), -1);
    Graph part;
    for (const int atom : atoms) {
        const auto at = static_cast<std::size_t>(atom);
        place[at] = static_cast<int>(part.size());
        part.elements.push_back(graph.elements[at]);
        if (!graph.places.empty()) part.places.push_back(graph.places[at]);
    }
    for (const auto &[a, b, type] : graph.bonds) {
        const int from = place[static_cast<std::size_t>(a)],
                  to = place[static_cast<std::size_t>(b)];
        if (from >= 0 && to >= 0) part.bonds.push_back({from, to, type});
    }
    return part;
}

/// The first atoms that a walk over the bonds from the first atom meets, sphere by sphere.
inline Graph firstAtoms(const Graph &graph, std::size_t count) {
    std::vector<int> met{0};
    for (std::size_t i = 0; i < met.size() && met.size() < count; ++i)
        for (const auto &[a, b, type] : graph.bonds) {
            if (a != met[i] && b != met[i]) continue;
            const int next = a == met[i] ? b : a;
            if (met.size() < count && std::ranges::find(met, next) == met.end())
                met.push_back(next);
        }
    return piece(graph, met);
}

/// The same molecule with its atoms and bonds in another order.
inline Graph shuffled(const Graph &graph, std::mt19937 &random) {
    std::vector<int> order(graph.size());
    std::iota(order.begin(), order.end(), 0);
    std::ranges::shuffle(order, random);
    Graph other = piece(graph, order);
    std::ranges::shuffle(other.bonds, random);
    return other;
}

using Counters = std::map<std::string, double>;

/// Under Callgrind: the instructions of doing it once, in a file of their own.
template <class Work>
void countInstructions(const std::string &name, std::size_t items, Work work) {
    CALLGRIND_START_INSTRUMENTATION;
    work();
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string label = name + '=' + std::to_string(items);
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}

using Counters = std::map<std::string, double>;

/// Times a piece of work. Names read "family/case/size/side"; a peer's time is set against that of
/// the side "saddlefit" with the same beginning.
template <class Work>
benchmark::internal::Benchmark *measure(const std::string &name, std::size_t items, Work work,
                                        const Counters &counters = {}) {
    return benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        for ([[maybe_unused]] auto _ : state)
            work();
        state.counters["items"] = static_cast<double>(items);
        for (const auto &[key, value] : counters)
            state.counters[key] = value;
        if (RUNNING_ON_VALGRIND) countInstructions(name, items, work);
    });
}

template <class Ours, class Theirs>
void compare(const std::string &name, std::size_t items, Ours ours, const std::string &peer,
             Theirs theirs) {
    measure(name + "/saddlefit", items, ours);
    measure(name + '/' + peer, items, theirs);
}

/// A file among the temporary ones, gone at the end.
class ScratchFile {
public:
    ScratchFile() : path_(std::filesystem::temp_directory_path() / "saddlefit_bench_XXXXXX") {
        std::string path = path_.string();
        close(mkstemp(path.data()));
        path_ = path;
    }
    ~ScratchFile() { std::filesystem::remove(path_); }
    ScratchFile(const ScratchFile &) = delete;
    ScratchFile &operator=(const ScratchFile &) = delete;
    std::string path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

// The families. What they keep for the time of the measurement goes with the process.
void addMapping();
void addStereo();
void addSuperposition();
void addPerception();
void addConstraints();
void addScan();

inline int runBenchmarks(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace bench
