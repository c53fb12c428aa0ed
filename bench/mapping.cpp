// Mapping a pattern into a target, beside RDKit's substructure search on the same graphs.
#include "rdkit_graphs.hpp"

#include <GraphMol/Substruct/SubstructMatch.h>

namespace bench {
namespace {

constexpr std::array sizes{10, 30, 60, 100};

/// A pattern and a target, as both sides take them.
struct Task {
    Task(const Graph &patternGraph, const Graph &targetGraph, int code, int mostMatches)
        : pattern(molecule(patternGraph)),
          target(molecule(targetGraph)),
          peerPattern(rdkitMolecule(patternGraph)),
          peerTarget(rdkitMolecule(targetGraph)),
          map(patternGraph.size(), code),
          inverse(targetGraph.size(), code),
          solutions(static_cast<std::size_t>(mostMatches), std::vector<int>(map.size())),
          scores(solutions.size()) {
        for (auto &solution : solutions)
            rows.push_back(solution.data());
        parameters.maxMatches = static_cast<unsigned>(mostMatches);
        parameters.uniquify = false;
        parameters.recursionPossible = false;
    }

    int ours() {
        int count = 0;
        mapSub(pattern.get(), target.get(), map.data(), rows.data(), scores.data(), &count,
               static_cast<int>(rows.size()), inverse.data(), 0, 0);
        return count;
    }
    int theirs() const {
        return static_cast<int>(
            RDKit::SubstructMatch(*peerTarget, *peerPattern, parameters).size());
    }

    Mol pattern, target;
    std::shared_ptr<RDKit::RWMol> peerPattern, peerTarget;
    std::vector<int> map, inverse;
    std::vector<std::vector<int>> solutions;
    std::vector<int *> rows;
    std::vector<int> scores;
    RDKit::SubstructMatchParameters parameters;
};
using Tasks = std::vector<std::shared_ptr<Task>>;

/// How the pairs of a case are made of a molecule, another one of its size, and random choice.
using Pattern = Graph (*)(const Graph &, const Graph &, std::mt19937 &);

Graph itself(const Graph &mol, const Graph &, std::mt19937 &) {
    return mol;
}

Graph half(const Graph &mol, const Graph &, std::mt19937 &random) {
    return firstAtoms(shuffled(mol, random), mol.size() / 2);
}

Graph withOtherBond(const Graph &mol, const Graph &, std::mt19937 &random) {
    Graph changed = mol;
    int &type = changed.bonds[random() % changed.bonds.size()].type;
    type = type == 1 ? 2 : 1;
    return changed;
}

/// Trades the elements of two atoms, so that counting elements tells nothing.
Graph withSwappedAtoms(const Graph &mol, const Graph &, std::mt19937 &random) {
    Graph changed = mol;
    std::vector<int> &elements = changed.elements;
    if (std::ranges::all_of(elements, [&](int element) { return element == elements[0]; }))
        return withOtherBond(mol, mol, random);
    std::size_t a = 0, b = 0;
    while (elements[a] == elements[b]) {
        a = random() % elements.size();
        b = random() % elements.size();
    }
    std::swap(elements[a], elements[b]);
    return changed;
}

Graph halfOfAnother(const Graph &mol, const Graph &other, std::mt19937 &random) {
    return half(other, mol, random);
}

/// Half of the molecule, bonded to half of another one.
Graph overlapping(const Graph &mol, const Graph &other, std::mt19937 &random) {
    Graph joint = half(mol, other, random);
    const Graph foreign = half(other, mol, random);
    const int first = static_cast<int>(joint.size());
    joint.elements.insert(joint.elements.end(), foreign.elements.begin(), foreign.elements.end());
    for (const auto &[a, b, type] : foreign.bonds)
        joint.bonds.push_back({a + first, b + first, type});
    joint.bonds.push_back({first - 1, first, 1});
    return joint;
}

/// Six-rings fused in a row, of one element and one type of bond.
Graph fusedRings(int atoms) {
    Graph graph;
    for (int i = 0; i < atoms; ++i) {
        graph.elements.push_back(6);
        if (i >= 2) graph.bonds.push_back({i - 2, i, 1});
        if (i % 4 == 1) graph.bonds.push_back({i - 1, i, 1});
    }
    return graph;
}

Tasks makeTasks(const std::vector<Graph> &sample, Pattern makePattern, int code, int mostMatches) {
    std::mt19937 random(7);
    Tasks tasks;
    for (std::size_t i = 0; i < sample.size(); ++i) {
        const Graph pattern = makePattern(sample[i], sample[(i + 1) % sample.size()], random);
        tasks.push_back(std::make_shared<Task>(shuffled(pattern, random),
                                               shuffled(sample[i], random), code, mostMatches));
    }
    return tasks;
}

void runOurs(const Tasks &tasks) {
    for (const auto &task : tasks)
        benchmark::DoNotOptimize(task->ours());
}

void compareTasks(const std::string &name, const Tasks &tasks) {
    for (const auto &task : tasks)
        if ((task->ours() == 0) != (task->theirs() == 0))
            throw std::runtime_error(name + ": the two disagree");
    compare(
        name, tasks.size(), [tasks] { runOurs(tasks); }, "RDKit",
        [tasks] {
            for (const auto &task : tasks)
                benchmark::DoNotOptimize(task->theirs());
        });
}

/// Growth from a required bond through optional atoms, which no substructure search does.
void addOptional(int size, const std::vector<Graph> &sample) {
    Tasks tasks = makeTasks(sample, overlapping, MAP_OPTIONAL, 12);
    for (const auto &task : tasks) {
        const Bond &start = *task->pattern->bonds[0];
        for (const int atom : {start.atom1, start.atom2})
            task->map[static_cast<std::size_t>(atom)] = MAP_REQUIRED;
    }
    measure("mapping/optional atoms, 12 matches/" + std::to_string(size) + "/saddlefit",
            tasks.size(), [tasks] { runOurs(tasks); });
}

} // namespace

void addMapping() {
    struct Case {
        const char *name;
        Pattern pattern;
        int mostMatches;
    };
    for (const int size : sizes) {
        const std::vector<Graph> sample = sampleGraphs(size, size);
        const auto named = [size](const char *name) {
            return "mapping/" + std::string(name) + '/' + std::to_string(size);
        };
        for (const auto &[name, pattern, mostMatches] :
             {Case{"full match", itself, 1}, Case{"full match, up to 12", itself, 12},
              Case{"half of the target", half, 1}, Case{"half of the target, up to 12", half, 12},
              Case{"no match: one bond differs", withOtherBond, 1},
              Case{"no match: two atoms swapped", withSwappedAtoms, 1},
              Case{"no match: half of another molecule", halfOfAnother, 1},
              Case{"no match: half overlaps", overlapping, 1}})
            compareTasks(named(name), makeTasks(sample, pattern, MAP_REQUIRED, mostMatches));
        compareTasks(named("fused rings, up to 12"),
                     makeTasks({fusedRings(size)}, itself, MAP_REQUIRED, 12));
    }
    for (const int size : {10, 20, 30, 40})
        addOptional(size, sampleGraphs(size <= 10 ? 10 : size <= 30 ? 30 : 60, size));
}

} // namespace bench
