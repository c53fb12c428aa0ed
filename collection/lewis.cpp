#include "collection/lewis.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace saddlefit::collection {

namespace {

constexpr int highestOrder = 3;
constexpr int carbon = 6, silicon = 14;

/// Depth first over the bonds that may be more than single, with the valences that are left.
class Drawing {
public:
    Drawing(const Species &species, const BondGraph &bonds, std::size_t most)
        : species_(species), bonds_(bonds.begin(), bonds.end()), most_(most) {
        const auto atoms = species.elements.size();
        valences_.assign(atoms, 0);
        for (const auto &[a, b] : bonds_) {
            ++valences_[index(a)];
            ++valences_[index(b)];
            orders_[{a, b}] = 1;
        }
        for (const int element : species.elements)
            limits_.push_back(highestValence(element));
    }

    std::vector<LewisStructure> best() {
        for (std::size_t atom = 0; atom < valences_.size(); ++atom)
            if (valences_[atom] > limits_[atom]) return {};
        raise(0);
        return std::move(found_);
    }

private:
    static std::size_t index(int atom) { return static_cast<std::size_t>(atom); }
    static int highestValence(int element) {
        int highest = -1;
        for (const auto &state : valenceStates(element))
            highest = std::max(highest, state.valence);
        return highest;
    }

    void raise(std::size_t bond) {
        if (bond == bonds_.size()) return take();
        const auto [a, b] = bonds_[bond];
        int &order = orders_[{a, b}];
        for (order = 1;; ++order) {
            raise(bond + 1);
            if (order == highestOrder || valences_[index(a)] == limits_[index(a)] ||
                valences_[index(b)] == limits_[index(b)])
                break;
            ++valences_[index(a)];
            ++valences_[index(b)];
        }
        valences_[index(a)] -= order - 1;
        valences_[index(b)] -= order - 1;
        order = 1;
    }

    void take() {
        auto structure = drawn(species_, orders_);
        if (!structure || structure->cost > lowest_) return;
        if (structure->cost < lowest_) found_.clear();
        lowest_ = structure->cost;
        if (found_.size() < most_) found_.push_back(std::move(*structure));
    }

    const Species &species_;
    std::vector<AtomPair> bonds_;
    std::size_t most_;
    std::vector<int> valences_;
    std::vector<int> limits_;
    BondOrders orders_;
    std::vector<LewisStructure> found_;
    int lowest_ = std::numeric_limits<int>::max();
};

/// Of the states with this valence the one whose charge has this sign, or is none.
const ValenceState *stateOf(int element, int valence, int charge) {
    for (const auto &state : valenceStates(element)) {
        if (state.valence != valence) continue;
        if (element != carbon || state.valence != 3 || state.charge * charge > 0) return &state;
    }
    return nullptr;
}

int differences(const BondOrders &one, const BondOrders &other) {
    int sum = 0;
    for (const auto &[pair, order] : one) {
        const auto found = other.find(pair);
        sum += std::abs(order - (found == other.end() ? 0 : found->second));
    }
    for (const auto &[pair, order] : other)
        if (!one.contains(pair)) sum += order;
    return sum;
}

} // namespace

const std::vector<ValenceState> &valenceStates(int element) {
    // A carbanion costs so much that carbon monoxide and isocyanides, which get two back for their
    // triple bond, are drawn with one and aminocarbenes are not. A carbocation stands in cations
    // only, see drawn().
    static const std::vector<ValenceState> none;
    static const std::vector<ValenceState> chalcogen{
        {2, 0, 0}, {1, -1, 2}, {3, 1, 3}, {4, 0, 1}, {6, 0, 2}};
    static const std::map<int, std::vector<ValenceState>> table{
        {1, {{1, 0, 0}}},
        {5, {{3, 0, 0}, {4, -1, 2}}},
        {6, {{4, 0, 0}, {3, -1, 6}, {3, 1, 4}, {2, 0, 8}}},
        {7, {{3, 0, 0}, {4, 1, 3}, {2, -1, 3}}},
        {8, {{2, 0, 0}, {1, -1, 2}, {3, 1, 3}}},
        {9, {{1, 0, 0}, {0, -1, 2}}},
        {14, {{4, 0, 0}, {3, 1, 4}, {5, -1, 4}, {2, 0, 8}}},
        {15, {{3, 0, 0}, {5, 0, 1}, {4, 1, 2}, {2, -1, 3}}},
        {16, chalcogen},
        {17, {{1, 0, 0}, {0, -1, 2}, {2, 1, 4}}},
        {34, chalcogen},
        {35, {{1, 0, 0}, {0, -1, 2}, {2, 1, 4}}}};
    const auto found = table.find(element);
    return found == table.end() ? none : found->second;
}

std::optional<LewisStructure> drawn(const Species &species, const BondOrders &orders) {
    LewisStructure structure;
    structure.orders = orders;
    std::vector<int> valences(species.elements.size(), 0);
    std::vector<bool> triple(species.elements.size(), false);
    for (const auto &[pair, order] : orders) {
        for (const int atom : {pair.first, pair.second}) {
            valences[static_cast<std::size_t>(atom)] += order;
            if (order == 3) triple[static_cast<std::size_t>(atom)] = true;
        }
    }
    int charge = 0;
    for (std::size_t atom = 0; atom < valences.size(); ++atom) {
        const int element = species.elements[atom];
        const auto *state = stateOf(element, valences[atom], species.charge > 0 ? 1 : -1);
        // Carbon monoxide and isocyanides keep their drawing beside a cation.
        if (element == carbon && valences[atom] == 3 && triple[atom])
            state = stateOf(element, 3, -1);
        if (state == nullptr) return std::nullopt;
        structure.charges.push_back(state->charge);
        structure.cost += state->cost;
        charge += state->charge;
        const bool anion = element == carbon && state->charge < 0;
        if (anion && triple[atom]) structure.cost -= 2;
        if (anion && !triple[atom]) ++structure.carbanions;
        if ((element == carbon || element == silicon) && state->valence == 2) ++structure.carbenes;
    }
    if (charge != species.charge) return std::nullopt;
    return structure;
}

std::vector<LewisStructure> lewisStructures(const Species &species, const BondGraph &bonds,
                                            std::size_t most) {
    return Drawing(species, bonds, most).best();
}

std::optional<DrawnReaction> drawnReaction(const Species &species, const BondGraph &reactant,
                                           const BondGraph &product) {
    std::optional<DrawnReaction> best;
    int fewest = std::numeric_limits<int>::max();
    const auto after = lewisStructures(species, product);
    for (const auto &before : lewisStructures(species, reactant)) {
        for (const auto &other : after) {
            const int steps = differences(before.orders, other.orders);
            if (steps >= fewest) continue;
            fewest = steps;
            best = DrawnReaction{before, other};
        }
    }
    return best;
}

bool isOrdinary(const LewisStructure &structure, int charge) {
    int positive = 0, negative = 0;
    for (const int atom : structure.charges) {
        positive += std::max(atom, 0);
        negative += std::max(-atom, 0);
    }
    return structure.carbenes + structure.carbanions <= 1 &&
           std::min(positive, negative) <= (charge == 0 ? 2 : 1);
}

BondGraph graphOf(const BondOrders &orders) {
    BondGraph graph;
    for (const auto &[pair, order] : orders)
        graph.insert(pair);
    return graph;
}

std::vector<std::vector<int>> fragmentsOf(std::size_t atoms, const BondGraph &bonds) {
    std::vector<int> label(atoms);
    for (std::size_t i = 0; i < atoms; ++i)
        label[i] = static_cast<int>(i);
    for (bool changed = true; changed;) {
        changed = false;
        for (const auto &[a, b] : bonds) {
            auto &one = label[static_cast<std::size_t>(a)],
                 &other = label[static_cast<std::size_t>(b)];
            if (one == other) continue;
            one = other = std::min(one, other);
            changed = true;
        }
    }
    std::map<int, std::vector<int>> byFirst;
    for (std::size_t i = 0; i < atoms; ++i)
        byFirst[label[i]].push_back(static_cast<int>(i));
    std::vector<std::vector<int>> fragments;
    for (auto &[first, members] : byFirst)
        fragments.push_back(std::move(members));
    return fragments;
}

} // namespace saddlefit::collection
