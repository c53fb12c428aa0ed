#include "host/reactions/joint_geometry.hpp"

#include "host/reactions/approach.hpp"
#include "host/reactions/arrangement.hpp"
#include "host/reactions/bond_paths.hpp"
#include "host/reactions/contacts.hpp"
#include "host/reactions/distance_bounds.hpp"
#include "host/reactions/embedding.hpp"
#include "host/reactions/least_misfit.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

namespace saddlefit::host {

namespace {

constexpr double nearEnough = 1.2;  // times the approach distance: no need to fold
constexpr double mostStretch = 0.2; // of a bond
constexpr double tooNear = 0.5;     // of the sum of radii
constexpr unsigned mostSeeds = 12;

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

double distanceIn(const std::vector<Position> &positions, const AtomPair &pair) {
    return distanceBetween(positions[index(pair.first)], positions[index(pair.second)]);
}

/// One side on its way to the other.
class ReactingSide {
public:
    ReactingSide(const MarkedStructure &side, const MarkedStructure &otherSide)
        : side_(side.structure),
          marks_(side.marks),
          fragments_(fragmentsOf(side.structure)),
          fragment_(fragmentNumbers(fragments_, side_.atoms.size())),
          approaches_(approachOf(side_, otherSide.structure, fragments_)) {
        for (const auto &pair : bondedInOne(otherSide.structure, side_)) {
            const double distance = approachDistance(side_.atoms[index(pair.first)].element,
                                                     side_.atoms[index(pair.second)].element);
            bonding_[pair] = {distance};
            if (areApart(pair)) between_[pair] = {distance};
        }
    }

    /// As it was embedded, with its molecules facing each other.
    std::vector<Position> readyToReact() const {
        auto positions = arranged(side_, fragments_, approaches_, true);
        const bool isFolded = std::all_of(bonding_.begin(), bonding_.end(), [&](const auto &wish) {
            return distanceIn(positions, wish.first) <= nearEnough * wish.second.distance;
        });
        return isFolded ? positions : settled(positions);
    }

    /// What becomes of a geometry of the other side, or of one between them. The molecules keep
    /// their distance; within one, what was bonded goes where the force field sends it.
    std::vector<Position> settled(const std::vector<Position> &start) const {
        const auto coarse = forceFieldGeometry(side_, start, bonding_, Force::coarse);
        const auto &near = coarse ? *coarse : start;
        return forceFieldGeometry(side_, near, between_, Force::fine).value_or(near);
    }

    int unkept(const std::vector<Position> &positions) const {
        return unkeptMarks(marks_, positions);
    }

    /// How many bonds have no bond's length, and how many other atoms touch.
    int strains(const std::vector<Position> &positions) const {
        int count = 0;
        for (const auto &[a, b, type] : side_.bonds) {
            const double usual =
                bondLengthOf(side_.atoms[index(a)].element, side_.atoms[index(b)].element, type);
            if (std::abs(distanceIn(positions, {a, b}) / usual - 1) > mostStretch) ++count;
        }
        return count + touching(positions);
    }

private:
    bool areApart(const AtomPair &pair) const {
        return fragment_[index(pair.first)] != fragment_[index(pair.second)];
    }

    int touching(const std::vector<Position> &positions) const {
        std::vector<AtomPair> bonds;
        for (const auto &bond : side_.bonds)
            bonds.emplace_back(bond.atom1, bond.atom2);
        const auto neighbours = neighboursBy(bonds, positions.size());
        constexpr int unrelated = 3; // bonds between two atoms
        int count = 0;
        for (std::size_t a = 0; a < positions.size(); ++a) {
            const auto paths = pathsFrom(static_cast<int>(a), neighbours);
            for (std::size_t b = a + 1; b < positions.size(); ++b) {
                const double contact =
                    contactDistance(side_.atoms[a].element, side_.atoms[b].element);
                const double distance = distanceBetween(positions[a], positions[b]);
                if (paths[b] >= unrelated && distance < tooNear * contact) ++count;
            }
        }
        return count;
    }

    const Structure &side_;
    const StereoMarks &marks_;
    std::vector<Fragment> fragments_;
    std::vector<int> fragment_;
    SpecialDistances approaches_;
    SpecialDistances bonding_; ///< all pairs that the other side bonds
    SpecialDistances between_; ///< those of different molecules
};

std::vector<Position> centred(std::vector<Position> positions) {
    Position sum;
    for (const auto &at : positions)
        sum = {sum.x + at.x, sum.y + at.y, sum.z + at.z};
    const double count = static_cast<double>(std::max<std::size_t>(positions.size(), 1));
    for (auto &at : positions)
        at = {at.x - sum.x / count, at.y - sum.y / count, at.z - sum.z / count};
    return positions;
}

double misfitOf(const JointGeometry &geometry) {
    std::vector<int> same(geometry.reactant.size());
    std::iota(same.begin(), same.end(), 0);
    return leastMisfit(centred(geometry.reactant), centred(geometry.product), same);
}

class JointSearch {
public:
    JointSearch(const MarkedStructure &reactant, const MarkedStructure &product)
        : before_(reactant, product), after_(product, reactant) {}

    JointGeometry best(const MarkedStructure &reactant, const MarkedStructure &product) {
        const auto forward = before_.readyToReact();
        consider(forward, after_.settled(forward));
        const auto backward = after_.readyToReact();
        consider(before_.settled(backward), backward);
        if (isGood()) return best_;
        const auto bounds = boundsBetween(distanceBounds(reactant.structure, reactant.marks),
                                          distanceBounds(product.structure, product.marks));
        for (unsigned seed = 0; seed < mostSeeds && !isGood(); ++seed) {
            const auto middle = embeddedWithin(bounds, seed);
            consider(before_.settled(middle), after_.settled(middle));
        }
        return best_;
    }

private:
    bool isGood() const { return std::get<0>(rank_) == 0 && std::get<1>(rank_) == 0; }

    void consider(const std::vector<Position> &reactant, const std::vector<Position> &product) {
        JointGeometry geometry{reactant, product};
        geometry.unkept = before_.unkept(reactant) + after_.unkept(product);
        const std::tuple rank(geometry.unkept, before_.strains(reactant) + after_.strains(product),
                              misfitOf(geometry));
        if (!best_.reactant.empty() && rank_ <= rank) return;
        rank_ = rank;
        best_ = std::move(geometry);
    }

    ReactingSide before_, after_;
    JointGeometry best_;
    std::tuple<int, int, double> rank_;
};

} // namespace

JointGeometry jointGeometry(const MarkedStructure &reactant, const MarkedStructure &product) {
    return JointSearch(reactant, product).best(reactant, product);
}

} // namespace saddlefit::host
