#include "collection/proposals.hpp"

#include "collection/random.hpp"
#include "collection/reaction_hash.hpp"

#include <algorithm>
#include <set>

namespace saddlefit::collection {

namespace {

constexpr int smallestTripleRing = 8;
constexpr int smallestCumulatedRing = 7;

/// How many atoms are in the smallest ring of a bond, 0 for none.
int ringSize(const Species &species, const BondOrders &orders, const AtomPair &bond) {
    std::vector<int> reached{bond.first}, distance(species.elements.size(), 0);
    distance[static_cast<std::size_t>(bond.first)] = 1;
    for (std::size_t i = 0; i < reached.size(); ++i) {
        for (const auto &[pair, order] : orders) {
            if (pair == bond) continue;
            const auto [a, b] = pair;
            if (a != reached[i] && b != reached[i]) continue;
            const int next = a == reached[i] ? b : a;
            int &steps = distance[static_cast<std::size_t>(next)];
            if (steps != 0) continue;
            steps = distance[static_cast<std::size_t>(reached[i])] + 1;
            if (next == bond.second) return steps;
            reached.push_back(next);
        }
    }
    return 0;
}

class Enumeration {
public:
    Enumeration(const Species &species, const LewisStructure &reactant)
        : species_(species), reactant_(reactant) {
        for (const auto &[pair, order] : reactant.orders)
            bonds_.push_back(pair);
        const int atoms = static_cast<int>(species.elements.size());
        for (int a = 0; a < atoms; ++a)
            for (int b = a + 1; b < atoms; ++b)
                pairs_.push_back({a, b});
    }

    std::vector<Proposal> all() {
        for (std::size_t i = 0; i < bonds_.size(); ++i) {
            BondOrders steps;
            steps[bonds_[i]] -= 1;
            form(steps);
            for (std::size_t j = i; j < bonds_.size(); ++j) {
                auto two = steps;
                two[bonds_[j]] -= 1;
                form(two);
            }
        }
        return std::move(found_);
    }

private:
    void form(const BondOrders &broken) {
        take(broken);
        for (std::size_t i = 0; i < pairs_.size(); ++i) {
            if (broken.contains(pairs_[i])) continue;
            auto steps = broken;
            steps[pairs_[i]] += 1;
            take(steps);
            for (std::size_t j = i; j < pairs_.size(); ++j) {
                if (broken.contains(pairs_[j]) || !isBalanced(steps, pairs_[j])) continue;
                auto two = steps;
                two[pairs_[j]] += 1;
                take(two);
            }
        }
    }

    /// Most pairs of new bonds leave some atom with a valence that it cannot have: what hydrogen
    /// and halogen gain they have to lose.
    bool isBalanced(const BondOrders &steps, const AtomPair &last) const {
        for (const int atom : {last.first, last.second}) {
            if (species_.elements[static_cast<std::size_t>(atom)] != 1) continue;
            int change = 1;
            for (const auto &[pair, step] : steps)
                if (pair.first == atom || pair.second == atom) change += step;
            if (change != 0) return false;
        }
        return true;
    }

    void take(const BondOrders &steps) {
        if (!keepsHydrogens(steps)) return;
        auto proposal = proposed(species_, reactant_, steps);
        if (!proposal || !isOrdinary(proposal->product, species_.charge)) return;
        if (hasImpossibleRing(species_, proposal->product.orders)) return;
        if (seen_.insert(proposal->hash).second) found_.push_back(std::move(*proposal));
    }

    bool keepsHydrogens(const BondOrders &steps) const {
        std::map<int, int> change;
        for (const auto &[pair, step] : steps) {
            change[pair.first] += step;
            change[pair.second] += step;
        }
        return std::all_of(change.begin(), change.end(), [&](const auto &entry) {
            return entry.second == 0 ||
                   species_.elements[static_cast<std::size_t>(entry.first)] != 1;
        });
    }

    const Species &species_;
    const LewisStructure &reactant_;
    std::vector<AtomPair> bonds_, pairs_;
    std::set<std::string> seen_;
    std::vector<Proposal> found_;
};

/// What speaks against a proposal: dipoles and carbenes in the product, small rings that are made.
int oddness(const Species &species, const Proposal &proposal) {
    int sum = std::max(0, proposal.product.cost - proposal.reactant.cost);
    const auto changed = proposal.changed();
    for (const auto &pair : changed.made)
        if (ringSize(species, proposal.product.orders, pair) == 3) sum += 3;
    return sum + static_cast<int>(changed.made.size() + changed.broken.size());
}

} // namespace

bool hasImpossibleRing(const Species &species, const BondOrders &orders) {
    std::vector<int> doubles(species.elements.size(), 0);
    for (const auto &[pair, order] : orders) {
        if (order != 2) continue;
        ++doubles[static_cast<std::size_t>(pair.first)];
        ++doubles[static_cast<std::size_t>(pair.second)];
    }
    std::map<int, std::set<int>> neighbours;
    for (const auto &[pair, order] : orders) {
        neighbours[pair.first].insert(pair.second);
        neighbours[pair.second].insert(pair.first);
    }
    for (const auto &[pair, order] : orders) {
        const int size = ringSize(species, orders, pair);
        if (size == 0) continue;
        if (order == 3 && size < smallestTripleRing) return true;
        const auto cumulated = [&](int atom) {
            const auto i = static_cast<std::size_t>(atom);
            return doubles[i] > 1 && species.elements[i] < 10;
        };
        if (order == 2 && size < smallestCumulatedRing &&
            (cumulated(pair.first) || cumulated(pair.second)))
            return true;
        if (size != 3) continue;
        std::vector<int> shared;
        const auto &one = neighbours[pair.first], &other = neighbours[pair.second];
        std::set_intersection(one.begin(), one.end(), other.begin(), other.end(),
                              std::back_inserter(shared));
        if (shared.size() > 1) return true;
    }
    return false;
}

std::optional<Proposal> proposed(const Species &species, const LewisStructure &reactant,
                                 const BondOrders &steps) {
    auto orders = reactant.orders;
    for (const auto &[pair, step] : steps) {
        int &order = orders[pair];
        order += step;
        if (order < 0 || order > 3) return std::nullopt;
        if (order == 0) orders.erase(pair);
    }
    auto product = drawn(species, orders);
    if (!product) return std::nullopt;
    const auto before = graphOf(reactant.orders), after = graphOf(orders);
    if (before == after) return std::nullopt;
    return Proposal{reactant, std::move(*product),
                    reactionHash(species.elements, species.charge, before, after)};
}

std::vector<Proposal> enumerated(const Species &species, const LewisStructure &reactant,
                                 std::uint64_t seed) {
    auto proposals = Enumeration(species, reactant).all();
    std::vector<std::pair<double, std::size_t>> order;
    for (std::size_t i = 0; i < proposals.size(); ++i) {
        const double jitter = 6.0 * Random(seedFor(seed, proposals[i].hash)).uniform();
        order.emplace_back(oddness(species, proposals[i]) + jitter, i);
    }
    std::sort(order.begin(), order.end());
    std::vector<Proposal> sorted;
    for (const auto &[oddity, i] : order)
        sorted.push_back(std::move(proposals[i]));
    return sorted;
}

} // namespace saddlefit::collection
