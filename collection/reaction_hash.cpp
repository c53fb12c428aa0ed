#include "collection/reaction_hash.hpp"

#include "host/reactions/bond_graph.hpp"
#include "host/system/text.hpp"

#include <algorithm>

namespace saddlefit::collection {

namespace {

using namespace saddlefit::host;
using Bonds = std::set<AtomPair>;

/// What became of a bond: 1 broken, 2 formed, 3 kept.
Colour fingerprint(const std::vector<int> &elements, const Bonds &before, const Bonds &after) {
    std::vector<StructureBond> all;
    Bonds both = before;
    both.insert(after.begin(), after.end());
    for (const auto &[a, b] : both)
        all.push_back({a, b, 1});
    const BondGraph graph(elements.size(), all);
    std::vector<std::uint8_t> labels;
    for (const auto &pair : graph.bonds()) {
        const int kept = (before.contains(pair) ? 1 : 0) + (after.contains(pair) ? 2 : 0);
        labels.push_back(static_cast<std::uint8_t>(kept));
    }
    std::vector<Colour> colours;
    for (const int element : elements)
        colours.push_back(scattered(static_cast<Colour>(element)));
    graph.refine(labels, colours);
    auto profiles = graph.distanceProfiles(colours);
    graph.refine(labels, profiles);
    return graph.fingerprint(labels, profiles);
}

} // namespace

std::string reactionHash(const std::vector<int> &elements, int charge, const Bonds &before,
                         const Bonds &after) {
    const auto one = fingerprint(elements, before, after);
    const auto other = fingerprint(elements, after, before);
    const auto [low, high] = std::minmax(one, other);
    const Colour key = scattered(scattered(low) + 3 * high + 7 * static_cast<Colour>(charge + 64));
    return formatted("%016llx", static_cast<unsigned long long>(key));
}

} // namespace saddlefit::collection
