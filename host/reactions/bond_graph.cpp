#include "host/reactions/bond_graph.hpp"

#include <algorithm>
#include <set>

namespace saddlefit::host {

namespace {

std::size_t differentColours(std::vector<Colour> colours) {
    std::sort(colours.begin(), colours.end());
    return static_cast<std::size_t>(std::unique(colours.begin(), colours.end()) - colours.begin());
}

std::vector<AtomPair> pairsIn(std::span<const StructureBond> bonds) {
    std::set<AtomPair> pairs;
    for (const auto &bond : bonds) {
        if (bond.type != 0 && bond.atom1 != bond.atom2)
            pairs.insert(orderedPair(bond.atom1, bond.atom2));
    }
    return {pairs.begin(), pairs.end()};
}

} // namespace

// The finaliser of splitmix64 (Steele, Lea and Flood, OOPSLA 2014).
Colour scattered(Colour value) {
    value += 0x9e3779b97f4a7c15u;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9u;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebu;
    return value ^ (value >> 31);
}

Colour sumOf(std::span<const Colour> colours) {
    Colour sum = 0;
    for (const auto colour : colours)
        sum += scattered(colour);
    return sum;
}

BondGraph::BondGraph(std::size_t atomCount, std::span<const StructureBond> bonds)
    : bonds_(pairsIn(bonds)), first_(atomCount + 1) {
    const auto index = [](int atom) { return static_cast<std::size_t>(atom); };
    for (const auto &[a, b] : bonds_) {
        ++first_[index(a) + 1];
        ++first_[index(b) + 1];
    }
    for (std::size_t i = 1; i <= atomCount; ++i)
        first_[i] += first_[i - 1];
    neighbours_.resize(2 * bonds_.size());
    bondTo_.resize(2 * bonds_.size());
    auto next = first_;
    for (std::size_t bond = 0; bond < bonds_.size(); ++bond) {
        const auto &[a, b] = bonds_[bond];
        for (const auto &[from, to] : {AtomPair{a, b}, AtomPair{b, a}}) {
            const auto place = next[index(from)]++;
            neighbours_[place] = to;
            bondTo_[place] = bond;
        }
    }
}

bool BondGraph::hasBond(int a, int b) const {
    const auto around = neighbours(a);
    return std::find(around.begin(), around.end(), b) != around.end();
}

std::span<const int> BondGraph::neighbours(int atom) const {
    const auto i = static_cast<std::size_t>(atom);
    return std::span(neighbours_).subspan(first_[i], first_[i + 1] - first_[i]);
}

Colour BondGraph::refined(std::size_t atom, std::span<const std::uint8_t> labels,
                          std::span<const Colour> colours) const {
    Colour around = 0;
    for (auto i = first_[atom]; i < first_[atom + 1]; ++i) {
        const Colour label = labels[bondTo_[i]];
        if (label != 0)
            around += scattered(colours[static_cast<std::size_t>(neighbours_[i])] + label);
    }
    return scattered(colours[atom] ^ around);
}

void BondGraph::refine(std::span<const std::uint8_t> labels, std::vector<Colour> &colours) const {
    std::vector<Colour> next(colours.size());
    for (auto count = differentColours(colours);;) {
        for (std::size_t atom = 0; atom < colours.size(); ++atom)
            next[atom] = refined(atom, labels, colours);
        colours.swap(next);
        const auto now = differentColours(colours);
        if (now == count) return;
        count = now;
    }
}

Colour BondGraph::fingerprint(std::span<const std::uint8_t> labels,
                              std::span<const Colour> colours) const {
    constexpr int rounds = 5;
    std::vector<Colour> now(colours.begin(), colours.end()), next(colours.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t atom = 0; atom < now.size(); ++atom)
            next[atom] = refined(atom, labels, now);
        now.swap(next);
    }
    return sumOf(now);
}

std::vector<Colour> BondGraph::distanceProfiles(std::span<const Colour> colours) const {
    std::vector<Colour> profiles;
    for (int start = 0; start < static_cast<int>(atomCount()); ++start) {
        std::vector<int> distance(atomCount(), -1), reached{start};
        distance[static_cast<std::size_t>(start)] = 0;
        Colour profile = 0;
        for (std::size_t i = 0; i < reached.size(); ++i) {
            const auto atom = static_cast<std::size_t>(reached[i]);
            profile += scattered(colours[atom] + static_cast<Colour>(distance[atom]));
            for (const int next : neighbours(reached[i])) {
                auto &steps = distance[static_cast<std::size_t>(next)];
                if (steps >= 0) continue;
                steps = distance[atom] + 1;
                reached.push_back(next);
            }
        }
        profiles.push_back(scattered(profile + colours[static_cast<std::size_t>(start)]));
    }
    return profiles;
}

} // namespace saddlefit::host
