#include "host/reactions/atom_map.hpp"

#include "host/reactions/map_geometry.hpp"
#include "host/reactions/rest_maps.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <set>
#include <unordered_set>

namespace saddlefit::host {

namespace {

constexpr std::size_t mostLeftOut = 12;         // bonds of one side
constexpr std::size_t mostCandidates = 8000000; // in memory at a time

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

/// Bonds that are left out of one side.
struct Candidate {
    Colour fingerprint = 0; // of the rest
    std::array<std::uint32_t, mostLeftOut> bonds{};

    std::vector<std::size_t> numbers(std::size_t count) const {
        return {bonds.begin(), bonds.begin() + static_cast<std::ptrdiff_t>(count)};
    }
};

/// Bonds between the same two elements are of one kind.
using KindCounts = std::map<AtomPair, int>;

AtomPair kindOf(const Structure &structure, const AtomPair &bond) {
    return orderedPair(structure.atoms[index(bond.first)].element,
                       structure.atoms[index(bond.second)].element);
}

KindCounts kindsIn(const Structure &structure, const BondGraph &graph) {
    KindCounts counts;
    for (const auto &bond : graph.bonds())
        ++counts[kindOf(structure, bond)];
    return counts;
}

/// How many more bonds of each kind one side has.
KindCounts surplus(const KindCounts &counts, const KindCounts &others) {
    KindCounts more;
    for (const auto &[kind, count] : counts) {
        const auto found = others.find(kind);
        const int other = found == others.end() ? 0 : found->second;
        if (count > other) more[kind] = count - other;
    }
    return more;
}

/// Lists the choices of bonds to leave out of one side. These always hold the surplus of each
/// kind, and of several twins (atoms bound to the same one and to nothing else) the first.
class LeavingOut {
public:
    LeavingOut(const Structure &structure, const MapSide &side, const KindCounts &needed,
               const Deadline &deadline)
        : side_(side), deadline_(deadline), labels_(side.graph.bonds().size(), 1) {
        std::map<AtomPair, std::size_t> numbers;
        for (const auto &[kind, count] : needed) {
            numbers[kind] = needed_.size();
            needed_.push_back(count);
        }
        for (const auto &bond : side.graph.bonds()) {
            const auto found = numbers.find(kindOf(structure, bond));
            kinds_.push_back(found == numbers.end() ? -1 : static_cast<int>(found->second));
        }
        findTwins();
    }

    std::vector<Candidate> ofSize(std::size_t size) {
        found_.clear();
        size_ = size;
        choose(0, 0, std::accumulate(needed_.begin(), needed_.end(), 0));
        return std::move(found_);
    }

private:
    void findTwins() {
        std::map<std::pair<int, Colour>, int> latest;
        const auto &bonds = side_.graph.bonds();
        for (std::size_t i = 0; i < bonds.size(); ++i) {
            const bool firstIsLeaf = side_.graph.neighbours(bonds[i].first).size() == 1;
            const int leaf = firstIsLeaf ? bonds[i].first : bonds[i].second;
            const int parent = firstIsLeaf ? bonds[i].second : bonds[i].first;
            twinBefore_.push_back(-1);
            if (side_.graph.neighbours(leaf).size() != 1) continue;
            const auto [place, isFirst] =
                latest.try_emplace({parent, side_.colours[index(leaf)]}, static_cast<int>(i));
            if (!isFirst) twinBefore_.back() = std::exchange(place->second, static_cast<int>(i));
        }
    }

    void choose(std::size_t from, std::size_t chosen, int missing) {
        const auto left = size_ - chosen;
        if (missing > static_cast<int>(left)) return;
        if (left == 0) return record();
        for (auto bond = from; bond + left <= labels_.size(); ++bond) {
            if (twinBefore_[bond] >= 0 && labels_[index(twinBefore_[bond])] != 0) continue;
            const int kind = kinds_[bond];
            const bool wanted = kind >= 0 && needed_[index(kind)]-- > 0;
            labels_[bond] = 0;
            current_.bonds[chosen] = static_cast<std::uint32_t>(bond);
            choose(bond + 1, chosen + 1, missing - (wanted ? 1 : 0));
            labels_[bond] = 1;
            if (kind >= 0) ++needed_[index(kind)];
        }
    }

    void record() {
        constexpr std::size_t between = 256;
        if (found_.size() % between == 0) deadline_.check();
        if (found_.size() >= mostCandidates) throw Deadline::Passed{};
        current_.fingerprint = side_.graph.fingerprint(labels_, side_.colours);
        found_.push_back(current_);
    }

    const MapSide &side_;
    const Deadline &deadline_;
    std::vector<std::uint8_t> labels_; // per bond: 0 for one that is left out
    std::vector<int> kinds_;           // per bond: its place in needed_, or -1
    std::vector<int> twinBefore_;      // per bond: that of the twin before, or -1
    std::vector<int> needed_;          // per kind
    std::size_t size_ = 0;
    Candidate current_;
    std::vector<Candidate> found_;
};

void sortByFingerprint(std::vector<Candidate> &candidates) {
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto &a, const auto &b) { return a.fingerprint < b.fingerprint; });
}

/// Those whose fingerprint is among the others' too.
std::vector<Candidate> shared(std::vector<Candidate> candidates,
                              const std::vector<Candidate> &others) {
    std::unordered_set<Colour> prints;
    for (const auto &other : others)
        prints.insert(other.fingerprint);
    std::erase_if(candidates, [&](const Candidate &candidate) {
        return !prints.contains(candidate.fingerprint);
    });
    return candidates;
}

/// One of each sort: choices that leave out bonds in the same places are of one sort.
std::vector<Candidate> differing(const std::vector<Candidate> &candidates, std::size_t size,
                                 const MapSide &side) {
    std::set<Colour> known;
    std::vector<Candidate> kept;
    for (const auto &candidate : candidates) {
        std::vector<std::uint8_t> labels(side.graph.bonds().size(), 1);
        for (const auto bond : candidate.numbers(size))
            labels[bond] = 2;
        auto colours = side.profiles;
        side.graph.refine(labels, colours);
        if (known.insert(sumOf(colours)).second) kept.push_back(candidate);
    }
    return kept;
}

/// Map numbers that one atom of each side has.
std::set<int> sharedNumbers(const Structure &reactant, const Structure &product) {
    const auto once = [](const std::vector<int> &numbers) {
        std::map<int, int> counts;
        for (const int number : numbers)
            ++counts[number];
        std::set<int> result;
        for (const auto &[number, count] : counts)
            if (number != 0 && count == 1) result.insert(number);
        return result;
    };
    const auto before = once(reactant.mapNumbers), after = once(product.mapNumbers);
    std::set<int> both;
    std::set_intersection(before.begin(), before.end(), after.begin(), after.end(),
                          std::inserter(both, both.end()));
    return both;
}

MapSide sideOf(const Structure &structure, const std::set<int> &numbers) {
    MapSide side{BondGraph(structure.atoms.size(), structure.bonds), {}, {}};
    for (std::size_t i = 0; i < structure.atoms.size(); ++i) {
        const int number = i < structure.mapNumbers.size() ? structure.mapNumbers[i] : 0;
        const auto label = numbers.contains(number) ? scattered(static_cast<Colour>(number)) : 0;
        side.colours.push_back(scattered(static_cast<Colour>(structure.atoms[i].element) ^ label));
    }
    side.profiles = side.graph.distanceProfiles(side.colours);
    return side;
}

/// One reaction, from the two graphs to the maps.
class MapSearch {
public:
    MapSearch(const Structure &reactant, const Structure &product, const AtomMapLimits &limits)
        : reactant_(reactant),
          product_(product),
          limits_(limits),
          deadline_(limits.seconds),
          before_(sideOf(reactant, sharedNumbers(reactant, product))),
          after_(sideOf(product, sharedNumbers(reactant, product))) {}

    AtomMapSearch run();

private:
    std::vector<std::vector<int>> mapsWith(std::size_t broken, std::size_t formed);
    void settle(const std::vector<std::vector<int>> &maps);

    const Structure &reactant_, &product_;
    AtomMapLimits limits_;
    Deadline deadline_;
    MapSide before_, after_;
    AtomMapSearch result_;
};

std::vector<std::vector<int>> MapSearch::mapsWith(std::size_t broken, std::size_t formed) {
    const auto kinds1 = kindsIn(reactant_, before_.graph), kinds2 = kindsIn(product_, after_.graph);
    auto all1 = LeavingOut(reactant_, before_, surplus(kinds1, kinds2), deadline_).ofSize(broken);
    auto all2 = LeavingOut(product_, after_, surplus(kinds2, kinds1), deadline_).ofSize(formed);
    auto some2 = shared(std::move(all2), all1);
    auto some1 = shared(std::move(all1), some2);
    some1 = differing(some1, broken, before_);
    some2 = differing(some2, formed, after_);
    sortByFingerprint(some2);
    RestMaps maps(before_, after_, deadline_);
    for (const auto &one : some1) {
        for (const auto &other : some2) {
            if (one.fingerprint != other.fingerprint) continue;
            maps.add(one.numbers(broken), other.numbers(formed));
        }
    }
    return maps.maps();
}

void MapSearch::settle(const std::vector<std::vector<int>> &maps) {
    const MapGeometry geometry(reactant_, product_, before_, after_);
    for (const auto &map : maps)
        result_.maps.push_back(geometry.settled(map));
    std::stable_sort(result_.maps.begin(), result_.maps.end(),
                     [](const AtomMap &a, const AtomMap &b) {
                         return std::tie(a.inverted, a.misfit) < std::tie(b.inverted, b.misfit);
                     });
}

AtomMapSearch MapSearch::run() {
    auto colours1 = before_.colours, colours2 = after_.colours;
    std::sort(colours1.begin(), colours1.end());
    std::sort(colours2.begin(), colours2.end());
    if (colours1 != colours2) return result_;
    const int bonds1 = static_cast<int>(before_.graph.bonds().size());
    const int bonds2 = static_cast<int>(after_.graph.bonds().size());
    result_.outcome = MapOutcome::tooManyBonds;
    for (int total = std::abs(bonds1 - bonds2); total <= limits_.bonds; total += 2) {
        const int broken = (total + bonds1 - bonds2) / 2, formed = total - broken;
        if (std::max(broken, formed) > static_cast<int>(mostLeftOut)) break;
        const auto maps =
            mapsWith(static_cast<std::size_t>(broken), static_cast<std::size_t>(formed));
        if (maps.empty()) continue;
        settle(maps);
        result_.broken = broken;
        result_.formed = formed;
        const bool same = total == 0 && result_.maps.front().orderSteps == 0;
        result_.outcome = same ? MapOutcome::unchanged : MapOutcome::found;
        break;
    }
    return result_;
}

} // namespace

AtomMapSearch mapAtoms(const Structure &reactant, const Structure &product,
                       const AtomMapLimits &limits) {
    try {
        return MapSearch(reactant, product, limits).run();
    } catch (const Deadline::Passed &) {
        AtomMapSearch result;
        result.outcome = MapOutcome::outOfTime;
        return result;
    }
}

int bondsBrokenAndFormed(const Structure &reactant, const Structure &product,
                         const std::vector<int> &productAtoms) {
    const BondGraph before(reactant.atoms.size(), reactant.bonds);
    const BondGraph after(product.atoms.size(), product.bonds);
    const auto lasting =
        std::count_if(before.bonds().begin(), before.bonds().end(), [&](const AtomPair &bond) {
            return after.hasBond(productAtoms[index(bond.first)], productAtoms[index(bond.second)]);
        });
    return static_cast<int>(before.bonds().size() + after.bonds().size()) -
           2 * static_cast<int>(lasting);
}

} // namespace saddlefit::host
