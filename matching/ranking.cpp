#include "saddlefit/matching.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <compare>
#include <span>
#include <utility>
#include <vector>

using namespace saddlefit;

namespace {

constexpr int aromaticType = 5;
constexpr int aromaticWeight = 3;     // between a single bond (2) and a double bond (4)
constexpr int highestWeighedType = 9; // a hostile file's bond must not ask for more entries
constexpr int nodeEnd = -1;           // in a key: below every element
constexpr int branchEnd = -2;         // in a key: below the end of a node

using RankKey = std::vector<int>;

/// Atoms reached in one sphere that hang from the same atom, each as often as its bond weighs.
struct RankNode {
    std::vector<int> entries;
    int parentGroup = 0;
};

enum class Growth { finished, active, tied };

struct Branch {
    int atom = -1;
    std::vector<RankNode> frontier;
    std::span<unsigned char> visited; // by atom of the molecule
    RankKey key;
    Growth growth = Growth::active;
};

/// Sort so that no item is below a later one. Not stable: the order in which equal items end is
/// part of the ranking.
template <class Item, class Below> void exchangeSort(std::vector<Item> &items, Below below) {
    for (std::size_t i = 0; i < items.size(); ++i)
        for (std::size_t j = i + 1; j < items.size(); ++j)
            if (below(items[i], items[j])) std::swap(items[i], items[j]);
}

int bondWeight(const Bond &bond) {
    if (bond.type == aromaticType) return aromaticWeight;
    return 2 * std::clamp(bond.type, 0, highestWeighedType);
}

/// Signed and entry by entry; a key that ends first is lower.
std::strong_ordering compareRankKeys(const RankKey &a, const RankKey &b) {
    return a <=> b;
}

class SphereWalk {
public:
    explicit SphereWalk(const Molecule &mol) : mol_(mol) {}

    /// List the frontier in the branch's key and step on to the next sphere; its number of nodes.
    std::size_t expandRankSphere(Branch &branch) const;

private:
    int elementOf(int atom) const { return hasAtom(mol_, atom) ? mol_.atoms[atom].element : 0; }
    std::strong_ordering compareRankNodes(const RankNode &a, const RankNode &b) const;
    void sortRankNode(RankNode &node) const;
    RankNode newRankNode(int atom, int parentGroup) const;
    std::vector<int> groupNumbers(std::span<const RankNode> sorted) const;
    void appendToKey(const RankNode &node, RankKey &key) const;
    void expandNode(const RankNode &node, int group, Branch &branch,
                    std::vector<RankNode> &next) const;

    const Molecule &mol_;
};

std::strong_ordering SphereWalk::compareRankNodes(const RankNode &a, const RankNode &b) const {
    if (a.parentGroup != b.parentGroup) return a.parentGroup <=> b.parentGroup;
    return std::lexicographical_compare_three_way(
        a.entries.begin(), a.entries.end(), b.entries.begin(), b.entries.end(),
        [this](int p, int q) { return elementOf(p) <=> elementOf(q); });
}

void SphereWalk::sortRankNode(RankNode &node) const {
    exchangeSort(node.entries, [this](int p, int q) { return elementOf(p) < elementOf(q); });
}

/// All neighbours of an atom, the one it was reached from included. Nothing lies beyond a dummy.
RankNode SphereWalk::newRankNode(int atom, int parentGroup) const {
    RankNode node{{}, parentGroup};
    if (elementOf(atom) < 1) return node;
    for (const Neighbour neighbour : neighboursOf(mol_, atom)) {
        const auto times = static_cast<std::size_t>(bondWeight(*neighbour.bond));
        node.entries.insert(node.entries.end(), times, neighbour.atom);
    }
    sortRankNode(node);
    return node;
}

/// Counts up wherever a node differs from the one before it.
std::vector<int> SphereWalk::groupNumbers(std::span<const RankNode> sorted) const {
    std::vector<int> groups(sorted.size(), 0);
    for (std::size_t i = 1; i < sorted.size(); ++i)
        groups[i] =
            groups[i - 1] + (std::is_neq(compareRankNodes(sorted[i - 1], sorted[i])) ? 1 : 0);
    return groups;
}

void SphereWalk::appendToKey(const RankNode &node, RankKey &key) const {
    for (const int atom : node.entries)
        key.push_back(elementOf(atom));
    key.push_back(nodeEnd);
}

void SphereWalk::expandNode(const RankNode &node, int group, Branch &branch,
                            std::vector<RankNode> &next) const {
    for (const int atom : node.entries) {
        if (!hasAtom(mol_, atom)) continue;
        unsigned char &visited = branch.visited[static_cast<std::size_t>(atom)];
        if (visited) continue;
        next.push_back(newRankNode(atom, group));
        visited = 1;
    }
}

std::size_t SphereWalk::expandRankSphere(Branch &branch) const {
    std::vector<RankNode> &frontier = branch.frontier;
    exchangeSort(frontier, [this](const RankNode &a, const RankNode &b) {
        return std::is_lt(compareRankNodes(a, b));
    });
    const std::vector<int> groups = groupNumbers(frontier);
    for (const RankNode &node : frontier)
        appendToKey(node, branch.key);

    std::vector<RankNode> next;
    for (std::size_t i = 0; i < frontier.size(); ++i)
        expandNode(frontier[i], groups[i], branch, next);
    frontier = std::move(next);
    if (frontier.empty()) branch.key.push_back(branchEnd);
    return frontier.size();
}

/// How often a branch lists its own atom: the weight of its bond to the root.
std::size_t multiplicity(const Molecule &mol, int root, int atom) {
    if (!hasAtom(mol, root) || mol.atoms[root].element < 1) return 1;
    for (const Neighbour neighbour : neighboursOf(mol, root))
        if (neighbour.atom == atom) return static_cast<std::size_t>(bondWeight(*neighbour.bond));
    return 1;
}

Branch startBranch(const Molecule &mol, int atom, std::span<const int> excluded, int root,
                   std::span<unsigned char> visited) {
    const auto mark = [&](int passed) {
        if (hasAtom(mol, passed)) visited[static_cast<std::size_t>(passed)] = 1;
    };
    std::fill(visited.begin(), visited.end(), static_cast<unsigned char>(0));
    for (const int passed : excluded)
        mark(passed);
    mark(root);

    Branch branch;
    branch.atom = atom;
    branch.visited = visited;
    branch.frontier.push_back({std::vector<int>(multiplicity(mol, root, atom), atom), 0});
    return branch;
}

/// Finish each active branch that no other active one equals; leave the equal ones tied.
void settleUnique(std::vector<Branch> &branches) {
    for (auto branch = branches.begin(); branch != branches.end(); ++branch) {
        if (branch->growth != Growth::active) continue;
        branch->growth = Growth::finished;
        for (auto later = branch + 1; later != branches.end(); ++later) {
            if (later->growth != Growth::active) continue;
            if (std::is_neq(compareRankKeys(branch->key, later->key))) continue;
            branch->growth = later->growth = Growth::tied;
        }
    }
}

void growKeys(const Molecule &mol, std::vector<Branch> &branches, bool untilExhausted) {
    const SphereWalk walk(mol);
    bool growing = true;
    while (growing) {
        for (Branch &branch : branches) {
            if (branch.growth == Growth::finished) continue;
            if (walk.expandRankSphere(branch) == 0) branch.growth = Growth::finished;
        }
        if (!untilExhausted) settleUnique(branches);
        growing = false;
        for (Branch &branch : branches) {
            if (branch.growth == Growth::finished) continue;
            branch.growth = Growth::active;
            growing = true;
        }
    }
}

int countDistinctKeys(std::span<const Branch> sorted) {
    int distinct = 1;
    for (std::size_t i = 1; i < sorted.size(); ++i)
        if (std::is_neq(compareRankKeys(sorted[i - 1].key, sorted[i].key))) ++distinct;
    return distinct;
}

int rankAtoms(const Molecule &mol, std::span<int> atoms, std::span<const int> excluded, int root,
              unsigned char **visitedSets) {
    const std::size_t atomCount = atomsOf(mol).size();
    std::vector<unsigned char> ownSets(visitedSets ? 0 : atoms.size() * atomCount);
    std::vector<Branch> branches;
    branches.reserve(atoms.size());
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        unsigned char *set = visitedSets ? visitedSets[i] : ownSets.data() + i * atomCount;
        branches.push_back(startBranch(mol, atoms[i], excluded, root, {set, atomCount}));
    }
    growKeys(mol, branches, visitedSets != nullptr);
    exchangeSort(branches, [](const Branch &a, const Branch &b) {
        return std::is_lt(compareRankKeys(a.key, b.key));
    });
    std::transform(branches.begin(), branches.end(), atoms.begin(),
                   [](const Branch &branch) { return branch.atom; });
    return countDistinctKeys(branches);
}

} // namespace

int cmpAtoms(Molecule *mol, int *atoms, int n, const int *excluded, int excludedCount, int root,
             unsigned char **visitedSets) {
    if (n < 2) return n;
    if (!ensureBondlink(*mol)) return failed;
    return guarded(failed, [&] {
        return rankAtoms(*mol, countedSpan(atoms, n), countedSpan(excluded, excludedCount), root,
                         visitedSets);
    });
}
