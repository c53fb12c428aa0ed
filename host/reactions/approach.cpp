#include "host/reactions/approach.hpp"

#include "host/reactions/bond_paths.hpp"
#include "host/reactions/contacts.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

// The library's radii reach further than the distance at which molecules lie upon each other.
constexpr double touching = 0.88;

constexpr double straightFactor = 0.3, uprightFactor = 0.1; // beside 1 of the pairs themselves

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

Neighbours neighboursIn(const Structure &side) {
    std::vector<AtomPair> bonds;
    for (const auto &bond : side.bonds)
        bonds.emplace_back(bond.atom1, bond.atom2);
    return neighboursBy(bonds, side.atoms.size());
}

class Approach {
public:
    Approach(const Structure &side, const Structure &otherSide, std::span<const Fragment> fragments)
        : side_(side),
          neighbours_(neighboursIn(side)),
          fragment_(fragmentNumbers({fragments.begin(), fragments.end()}, side.atoms.size())),
          breaking_(bondedInOne(side, otherSide)),
          forming_(bondedInOne(otherSide, side)) {}

    SpecialDistances distances() {
        for (const auto &[a, b] : forming_) {
            if (!areApart(a, b)) continue;
            want(a, b, targetOf(a, b), 1.0);
        }
        for (const auto &[a, b] : forming_) {
            if (!areApart(a, b)) continue;
            direct(a, b);
            direct(b, a);
        }
        return wanted_;
    }

private:
    bool areApart(int a, int b) const { return fragment_[index(a)] != fragment_[index(b)]; }

    double targetOf(int a, int b) const {
        return approachDistance(side_.atoms[index(a)].element, side_.atoms[index(b)].element);
    }

    double lengthOf(int a, int b) const {
        return distanceBetween(side_.atoms[index(a)].position, side_.atoms[index(b)].position);
    }

    void want(int a, int b, double distance, double factor) {
        wanted_.insert({orderedPair(a, b), {distance, factor}}); // the first wish holds
    }

    /// The neighbour that an atom loses, if it is one.
    int leaving(int atom) const {
        int found = -1;
        for (const auto &[a, b] : breaking_) {
            if (a != atom && b != atom) continue;
            if (found >= 0) return -1;
            found = a == atom ? b : a;
        }
        return found;
    }

    bool bondsTo(int atom, int fragment) const {
        return std::any_of(forming_.begin(), forming_.end(), [&](const AtomPair &pair) {
            const auto &[a, b] = pair;
            return (a == atom && fragment_[index(b)] == fragment) ||
                   (b == atom && fragment_[index(a)] == fragment);
        });
    }

    /// Where `coming` shall stand around `atom`.
    void direct(int atom, int coming) {
        const double target = targetOf(atom, coming);
        const int left = leaving(atom);
        if (left >= 0 && !bondsTo(left, fragment_[index(coming)])) {
            return want(coming, left, target + lengthOf(atom, left), straightFactor);
        }
        constexpr std::size_t inPlane = 3;
        if (neighbours_[index(atom)].size() != inPlane) return;
        for (const int neighbour : neighbours_[index(atom)]) {
            want(coming, neighbour, std::hypot(target, lengthOf(atom, neighbour)), uprightFactor);
        }
    }

    const Structure &side_;
    Neighbours neighbours_;
    std::vector<int> fragment_;
    std::vector<AtomPair> breaking_, forming_;
    SpecialDistances wanted_;
};

} // namespace

double approachDistance(int element1, int element2) {
    return touching * contactDistance(element1, element2);
}

std::vector<AtomPair> bondedInOne(const Structure &side, const Structure &otherSide) {
    std::vector<AtomPair> pairs;
    for (const auto &[atoms, before, after] : changedBonds(side, otherSide))
        if (before != 0 && after == 0) pairs.push_back(atoms);
    return pairs;
}

SpecialDistances approachOf(const Structure &side, const Structure &otherSide,
                            std::span<const Fragment> fragments) {
    return Approach(side, otherSide, fragments).distances();
}

} // namespace saddlefit::host
