#include "host/reactions/strain.hpp"

#include "host/reactions/bond_paths.hpp"
#include "host/reactions/contacts.hpp"
#include "host/reactions/rigid_move.hpp"

#include <algorithm>
#include <cmath>
#include <set>

namespace saddlefit::host {

namespace {

// Force constants: kcal/mol per square angstrom, and the barrier of ethane per turn.
constexpr double bondForce = 300, angleForce = 60, contactForce = 40, turnBarrier = 2.9;

constexpr double allowedContact = 0.75; // of the sum of radii
constexpr double leastContact = 0.5;    // likewise; nothing but a bond or a hydrogen bond is nearer
constexpr double leastDistance = 1.5;   // angstrom
constexpr double shorter = 0.9;         // than on the sides, to be no matter of theirs

constexpr int neighboursOfOne = 2, unrelated = 3; // bonds between two atoms

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

std::set<AtomPair> bondsOf(const Structure &side) {
    std::set<AtomPair> bonds;
    for (const auto &bond : side.bonds)
        if (bond.type != 0) bonds.insert(orderedPair(bond.atom1, bond.atom2));
    return bonds;
}

Neighbours neighboursOf(const std::set<AtomPair> &bonds, std::size_t atoms) {
    const std::vector<AtomPair> list(bonds.begin(), bonds.end());
    return neighboursBy(list, atoms);
}

class Strain {
public:
    Strain(const std::vector<Position> &positions, const Structure &reactant,
           const Structure &product)
        : at_(positions), reactant_(reactant), product_(product) {
        const auto before = bondsOf(reactant), after = bondsOf(product);
        for (const auto &bond : before)
            if (after.contains(bond)) lasting_.insert(bond);
        auto either = before;
        either.insert(after.begin(), after.end());
        neighbours_ = neighboursOf(lasting_, positions.size());
        allNeighbours_ = neighboursOf(either, positions.size());
    }

    double sum() const {
        double total = 0.0;
        for (const auto &[a, b] : lasting_)
            total += bondForce * square(offSides(a, b));
        for (const auto &around : neighbours_) {
            for (std::size_t i = 0; i < around.size(); ++i)
                for (std::size_t k = i + 1; k < around.size(); ++k)
                    total += angleForce * square(offSides(around[i], around[k]));
        }
        for (const auto &[a, b] : lasting_)
            total += eclipse(a, b);
        return total + contacts();
    }

    std::vector<AtomPair> tooNear() const {
        std::vector<AtomPair> pairs;
        forPairs([&](int a, int b, int path) {
            if (path < neighboursOfOne || (path < unrelated && mayMeet(a, b))) return;
            const double least = path < unrelated
                                     ? leastDistance
                                     : std::max(leastDistance, leastContact * sumOfRadii(a, b));
            const double sides =
                shorter * std::min(distanceIn(reactant_, a, b), distanceIn(product_, a, b));
            if (distance(a, b) < std::min(least, sides)) pairs.emplace_back(a, b);
        });
        return pairs;
    }

private:
    static double square(double value) { return value * value; }

    double distance(int a, int b) const { return distanceBetween(at_[index(a)], at_[index(b)]); }

    static double distanceIn(const Structure &side, int a, int b) {
        return distanceBetween(side.atoms[index(a)].position, side.atoms[index(b)].position);
    }

    /// How far a distance lies outside of those of the two sides.
    double offSides(int a, int b) const {
        const auto [low, high] =
            std::minmax({distanceIn(reactant_, a, b), distanceIn(product_, a, b)});
        const double now = distance(a, b);
        return now < low ? low - now : std::max(now - high, 0.0);
    }

    double sumOfRadii(int a, int b) const {
        return contactDistance(reactant_.atoms[index(a)].element,
                               reactant_.atoms[index(b)].element);
    }

    /// Two atoms on one neighbour: a hydrogen that moves comes near to those of the atom that it
    /// leaves.
    bool mayMeet(int a, int b) const {
        constexpr int hydrogen = 1;
        if (reactant_.atoms[index(a)].element != hydrogen &&
            reactant_.atoms[index(b)].element != hydrogen)
            return false;
        const auto &around = neighbours_[index(a)], &others = neighbours_[index(b)];
        return std::none_of(around.begin(), around.end(), [&](int atom) {
            return std::find(others.begin(), others.end(), atom) != others.end();
        });
    }

    /// Of two atoms, and the number of bonds of either side between them.
    template <class Visit> void forPairs(Visit visit) const {
        for (int a = 0; index(a) < at_.size(); ++a) {
            const auto paths = pathsFrom(a, allNeighbours_);
            for (int b = a + 1; index(b) < at_.size(); ++b)
                visit(a, b, paths[index(b)]);
        }
    }

    double contacts() const {
        double total = 0.0;
        forPairs([&](int a, int b, int path) {
            if (path < unrelated) return;
            const double least =
                std::min({allowedContact * sumOfRadii(a, b), distanceIn(reactant_, a, b),
                          distanceIn(product_, a, b)});
            total += contactForce * square(std::max(least - distance(a, b), 0.0));
        });
        return total;
    }

    /// Of two atoms with four neighbours each, by all torsions about their bond.
    double eclipse(int b, int c) const {
        constexpr std::size_t tetrahedral = 4;
        const auto &left = neighbours_[index(b)], &right = neighbours_[index(c)];
        if (left.size() != tetrahedral || right.size() != tetrahedral) return 0.0;
        double sum = 0.0;
        for (const int a : left) {
            for (const int d : right) {
                if (a != c && d != b) sum += (1 + std::cos(3 * torsion(a, b, c, d))) / 2;
            }
        }
        constexpr double torsions = 9;
        return turnBarrier * sum / torsions;
    }

    double torsion(int a, int b, int c, int d) const {
        const Eigen::Vector3d axis = vectorOf(at_[index(c)]) - vectorOf(at_[index(b)]);
        const Eigen::Vector3d u = (vectorOf(at_[index(a)]) - vectorOf(at_[index(b)])).cross(axis);
        const Eigen::Vector3d v = (vectorOf(at_[index(d)]) - vectorOf(at_[index(c)])).cross(axis);
        return std::atan2(u.cross(v).norm(), u.dot(v));
    }

    const std::vector<Position> &at_;
    const Structure &reactant_, &product_;
    std::set<AtomPair> lasting_;
    Neighbours neighbours_, allNeighbours_;
};

} // namespace

double strainOf(const std::vector<Position> &positions, const Structure &reactant,
                const Structure &product) {
    return Strain(positions, reactant, product).sum();
}

std::vector<AtomPair> tooNearIn(const std::vector<Position> &positions, const Structure &reactant,
                                const Structure &product) {
    return Strain(positions, reactant, product).tooNear();
}

} // namespace saddlefit::host
