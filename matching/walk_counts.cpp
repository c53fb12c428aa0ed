#include "matching/walk_counts.hpp"

#include <limits>
#include <numeric>

namespace saddlefit {
namespace {

constexpr int firstLength = 4; // enough for most molecules
constexpr std::int64_t heaviestBond = 4;

std::int64_t weightOf(const Atom &atom) {
    return 1 + static_cast<std::uint32_t>(atom.element) % 16;
}

std::int64_t weightOf(const BondTable::Entry &bond) {
    return bond.type > 1 && bond.type <= heaviestBond ? bond.type : 1;
}

std::vector<std::int64_t> weightsOf(std::span<const Atom> atoms) {
    std::vector<std::int64_t> weights;
    weights.reserve(atoms.size());
    for (const Atom &atom : atoms)
        weights.push_back(weightOf(atom));
    return weights;
}

} // namespace

WalkCounts::WalkCounts(const PartialMapping &mapping)
    : pattern_{mapping.patternBonds, weightsOf(atomsOf(mapping.pattern))},
      target_{mapping.targetBonds, weightsOf(atomsOf(mapping.target))} {
    for (std::size_t atom = 0; atom < mapping.map.size(); ++atom)
        if (!hasPartner(mapping.map[atom]) && !isRequired(mapping.map[atom]))
            pattern_.counts[atom] = 0;
    lengthen();
}

void WalkCounts::lengthen() {
    for (const int length = length_ ? 2 * length_ : firstLength; length_ < length && mayStep();
         ++length_) {
        pattern_.step();
        target_.step();
    }
    excess_ = target_.total() - pattern_.total();
}

/// Whether walks longer by a bond can be summed up without overflow.
bool WalkCounts::mayStep() const {
    const auto most = std::numeric_limits<std::int64_t>::max() / heaviestBond;
    const auto atoms = static_cast<std::int64_t>(pattern_.counts.size() + target_.counts.size());
    return std::max(pattern_.total(), target_.total()) < most / atoms;
}

/// A walk is a bond, followed by a shorter walk from its other end.
void WalkCounts::Side::step() {
    for (std::size_t atom = 0; atom < counts.size(); ++atom) {
        longer[atom] = 0;
        if (counts[atom] == 0) continue;
        for (const auto &bond : bonds.of(static_cast<int>(atom)))
            longer[atom] += weightOf(bond) * counts[static_cast<std::size_t>(bond.atom)];
    }
    std::swap(counts, longer);
}

std::int64_t WalkCounts::Side::total() const {
    return std::accumulate(counts.begin(), counts.end(), std::int64_t{0});
}

} // namespace saddlefit
