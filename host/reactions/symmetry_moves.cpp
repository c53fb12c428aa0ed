#include "host/reactions/symmetry_moves.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace saddlefit::host {

namespace {

constexpr std::size_t mostParts = 400;
constexpr int mostSteps = 5000; // of the search for one move

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

bool isLeaf(const BondGraph &graph, int atom) {
    const auto around = graph.neighbours(atom);
    return around.size() == 1 && graph.neighbours(around.front()).size() > 1;
}

/// Continues "this atom takes the place of that one" to all atoms. Each atom stays where it is as
/// far as that is possible, so that few are moved.
class MoveSearch {
public:
    MoveSearch(const BondGraph &graph, const std::vector<Colour> &colours)
        : graph_(graph), colours_(colours) {}

    std::optional<SymmetryMove> from(int atom, int place) {
        place_.assign(graph_.atomCount(), -1);
        taken_.assign(graph_.atomCount(), -1);
        order_.clear();
        steps_ = 0;
        put(atom, place);
        if (!extend(0, 0) || !closeOtherMolecules()) return std::nullopt;
        SymmetryMove move;
        for (int i = 0; index(i) < place_.size(); ++i)
            if (place_[index(i)] != i) move.push_back({i, place_[index(i)]});
        return move;
    }

private:
    void put(int atom, int place) {
        place_[index(atom)] = place;
        taken_[index(place)] = atom;
        order_.push_back(atom);
    }
    void takeBack() {
        taken_[index(place_[index(order_.back())])] = -1;
        place_[index(order_.back())] = -1;
        order_.pop_back();
    }

    bool fits(int atom, int place) const {
        if (taken_[index(place)] >= 0 || colours_[index(atom)] != colours_[index(place)])
            return false;
        const auto around = graph_.neighbours(atom);
        return std::all_of(around.begin(), around.end(), [&](int other) {
            const int there = place_[index(other)];
            return there < 0 || graph_.hasBond(place, there);
        });
    }

    // Place the neighbours, from the `next`th on, of the atom that was placed as `current`th.
    bool extend(std::size_t current, std::size_t next) {
        if (++steps_ > mostSteps) return false;
        if (current == order_.size()) return true;
        const int atom = order_[current];
        const auto around = graph_.neighbours(atom);
        if (next == around.size()) return extend(current + 1, 0);
        const int neighbour = around[next];
        if (place_[index(neighbour)] >= 0) return extend(current, next + 1);
        std::vector<int> places;
        for (const int place : graph_.neighbours(place_[index(atom)]))
            if (fits(neighbour, place)) places.push_back(place);
        std::stable_partition(places.begin(), places.end(),
                              [&](int place) { return place == neighbour; });
        for (const int place : places) {
            const auto placed = order_.size();
            put(neighbour, place);
            if (extend(current, next + 1)) return true;
            while (order_.size() > placed)
                takeBack();
        }
        return false;
    }

    // A molecule that took the place of another one gives its own to it; the others stay.
    bool closeOtherMolecules() {
        for (int atom = 0; index(atom) < place_.size(); ++atom) {
            if (place_[index(atom)] >= 0) continue;
            place_[index(atom)] = taken_[index(atom)] >= 0 ? taken_[index(atom)] : atom;
        }
        std::vector<int> sorted = place_;
        std::sort(sorted.begin(), sorted.end());
        return std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
    }

    const BondGraph &graph_;
    const std::vector<Colour> &colours_;
    std::vector<int> place_; // per atom
    std::vector<int> taken_; // per place: by which atom
    std::vector<int> order_; // in which atoms were placed
    int steps_ = 0;
};

std::vector<SymmetryMove> twinMoves(const MapSide &side) {
    std::map<std::pair<int, Colour>, std::vector<int>> groups;
    for (int atom = 0; index(atom) < side.graph.atomCount(); ++atom) {
        if (isLeaf(side.graph, atom))
            groups[{side.graph.neighbours(atom).front(), side.colours[index(atom)]}].push_back(
                atom);
    }
    std::vector<SymmetryMove> moves;
    for (const auto &[place, atoms] : groups) {
        for (auto a = atoms.begin(); a != atoms.end(); ++a) {
            for (auto b = a + 1; b != atoms.end(); ++b) {
                moves.push_back({{*a, *b}, {*b, *a}});
                for (auto c = b + 1; c != atoms.end(); ++c) {
                    moves.push_back({{*a, *b}, {*b, *c}, {*c, *a}});
                    moves.push_back({{*a, *c}, {*c, *b}, {*b, *a}});
                }
            }
        }
    }
    return moves;
}

// One after the other; only where they share atoms is that more than each for itself.
std::optional<SymmetryMove> product(const SymmetryMove &first, const SymmetryMove &second) {
    std::map<int, int> places(first.begin(), first.end());
    bool overlap = false;
    std::map<int, int> both(second.begin(), second.end());
    for (const auto &[atom, place] : first) {
        const auto found = both.find(place);
        overlap = overlap || found != both.end();
    }
    if (!overlap) return std::nullopt;
    SymmetryMove move;
    std::set<int> atoms;
    for (const auto *moves : {&first, &second})
        for (const auto &[atom, place] : *moves)
            atoms.insert(atom);
    for (const int atom : atoms) {
        const auto one = places.find(atom);
        const int between = one == places.end() ? atom : one->second;
        const auto other = both.find(between);
        const int place = other == both.end() ? between : other->second;
        if (place != atom) move.push_back({atom, place});
    }
    return move;
}

std::vector<SymmetryMove> partMoves(const MapSide &side) {
    const auto &graph = side.graph;
    auto colours = side.profiles;
    graph.refine(std::vector<std::uint8_t>(graph.bonds().size(), 1), colours);
    std::set<SymmetryMove> moves;
    MoveSearch search(graph, colours);
    const int count = static_cast<int>(graph.atomCount());
    for (int a = 0; a < count && moves.size() < mostParts; ++a) {
        if (isLeaf(graph, a)) continue;
        for (int b = 0; b < count; ++b) {
            if (a == b || colours[index(a)] != colours[index(b)]) continue;
            if (const auto move = search.from(a, b)) moves.insert(*move);
        }
    }
    const std::vector<SymmetryMove> single(moves.begin(), moves.end());
    for (const auto &first : single) {
        for (const auto &second : single) {
            if (moves.size() >= mostParts) break;
            if (const auto both = product(first, second); both && !both->empty())
                moves.insert(*both);
        }
    }
    return {moves.begin(), moves.end()};
}

} // namespace

SymmetryMoves symmetryMoves(const MapSide &side) {
    return {twinMoves(side), partMoves(side)};
}

} // namespace saddlefit::host
