#include "host/reactions/distance_bounds.hpp"

#include "host/reactions/bond_paths.hpp"
#include "host/reactions/contacts.hpp"

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>

namespace saddlefit::host {

namespace {

constexpr double anyDistance = std::numeric_limits<double>::infinity();
constexpr double nearestContact = 0.65; // of the sums of radii, between atoms far along the bonds
constexpr double loosened = 1.5;        // of what one side holds together and the other does not
constexpr double degree = 3.14159265358979323846 / 180;

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

/// Bonds by their ends: type and length.
struct Link {
    int type;
    double length;
};

class BoundsMaker {
public:
    explicit BoundsMaker(const Structure &structure)
        : structure_(structure), links_(structure.atoms.size()) {
        const auto count = structure.atoms.size();
        bounds_.atoms = count;
        bounds_.ranges.resize(count * count);
        for (const auto &[a, b, type] : structure.bonds) {
            const double length = bondLengthOf(structure.atoms[index(a)].element,
                                               structure.atoms[index(b)].element, type);
            links_[index(a)].insert({b, {type, length}});
            links_[index(b)].insert({a, {type, length}});
        }
    }

    /// From the farthest pairs to the nearest, so that what is nearer overrules.
    DistanceBounds made(const StereoMarks &marks) {
        setContacts();
        for (const auto &bond : structure_.bonds)
            setAcross(bond.atom1, bond.atom2);
        for (const auto &bond : marks.doubleBonds)
            setMarked(bond);
        for (std::size_t atom = 0; atom < links_.size(); ++atom)
            setAround(static_cast<int>(atom));
        for (const auto &[a, b, type] : structure_.bonds)
            set(a, b, lengthOf(a, b), lengthOf(a, b));
        return std::move(bounds_);
    }

private:
    double lengthOf(int a, int b) const { return links_[index(a)].at(b).length; }

    void set(int a, int b, double least, double most) {
        if (a == b) return;
        bounds_.of(index(a), index(b)) = bounds_.of(index(b), index(a)) = {least, most};
    }

    void setContacts() {
        for (int a = 0; index(a) < bounds_.atoms; ++a) {
            for (int b = a + 1; index(b) < bounds_.atoms; ++b) {
                const double contact = contactDistance(structure_.atoms[index(a)].element,
                                                       structure_.atoms[index(b)].element);
                set(a, b, nearestContact * contact, anyDistance);
            }
        }
    }

    int mostOrders(int atom) const {
        int sum = 0;
        for (const auto &[other, link] : links_[index(atom)])
            sum += link.type - 1;
        return sum;
    }

    /// Of two bonds of an atom, in degrees: by its neighbours and the orders beyond the first.
    double angleAt(int atom) const {
        const auto count = links_[index(atom)].size();
        const int more = mostOrders(atom);
        constexpr int carbon = 6;
        if (count == 2 && more >= 2) return 180;
        if (count == 2 && more == 0) return structure_.atoms[index(atom)].element > 10 ? 98 : 107;
        if (count == 2) return 120;
        if (count > 4) return 90;
        const bool flat = more > 0 || structure_.atoms[index(atom)].element <= carbon;
        return count == 3 && flat ? 120 : 109.47;
    }

    bool isBonded(int a, int b) const { return links_[index(a)].contains(b); }

    /// Whether two neighbours of an atom have another one in common: a ring of four.
    bool isFourRing(int a, int atom, int c) const {
        return std::any_of(links_[index(a)].begin(), links_[index(a)].end(), [&](const auto &link) {
            return link.first != atom && isBonded(link.first, c);
        });
    }

    static double opposite(double one, double other, double angle) {
        return std::sqrt(one * one + other * other - 2 * one * other * std::cos(angle * degree));
    }

    void setAround(int atom) {
        for (const auto &[a, first] : links_[index(atom)]) {
            for (const auto &[c, second] : links_[index(atom)]) {
                if (c <= a || isBonded(a, c)) continue;
                const double angle = isFourRing(a, atom, c) ? 90 : angleAt(atom);
                const double distance = opposite(first.length, second.length, angle);
                const bool isLoose = links_[index(atom)].size() > 4;
                set(a, c, distance, isLoose ? anyDistance : distance);
            }
        }
    }

    /// Of a-b-c-d with a torsion of 0 and of 180 degrees.
    DistanceBounds::Range planar(int a, int b, int c, int d) const {
        const double ab = lengthOf(a, b), bc = lengthOf(b, c), cd = lengthOf(c, d);
        const double beta = angleAt(b) * degree, gamma = angleAt(c) * degree;
        const double along = bc - ab * std::cos(beta) - cd * std::cos(gamma);
        const double up = ab * std::sin(beta), upOther = cd * std::sin(gamma);
        return {std::hypot(along, up - upOther), std::hypot(along, up + upOther)};
    }

    void setAcross(int b, int c) {
        for (const auto &[a, first] : links_[index(b)]) {
            for (const auto &[d, second] : links_[index(c)]) {
                if (a == c || d == b || a == d || isBonded(a, d)) continue;
                const auto range = planar(a, b, c, d);
                auto &now = bounds_.of(index(a), index(d));
                set(a, d, std::min(now.least, range.least), std::min(now.most, range.most));
            }
        }
    }

    void setMarked(const babel::DoubleBond &mark) {
        for (std::size_t i = 0; i < 2; ++i) {
            for (std::size_t k = 2; k < 4; ++k) {
                const int a = mark.around[i], d = mark.around[k];
                if (a < 0 || d < 0) continue;
                const auto range = planar(a, mark.atom1, mark.atom2, d);
                const bool cis = (i == 0) == (k == 3);
                const double distance = cis ? range.least : range.most;
                set(a, d, distance, distance);
            }
        }
    }

    const Structure &structure_;
    std::vector<std::map<int, Link>> links_;
    DistanceBounds bounds_;
};

using Point = Eigen::Vector4d;

/// Pulls each atom to where its pairs would have it, in four dimensions, of which the last one is
/// pressed flat: atoms pass each other there.
class Folding {
public:
    Folding(const DistanceBounds &bounds, unsigned seed)
        : bounds_(bounds), points_(bounds.atoms), weights_(bounds.atoms * bounds.atoms) {
        std::mt19937 engine(seed);
        const double edge = 2.0 * std::cbrt(static_cast<double>(bounds.atoms) + 1.0);
        for (auto &point : points_)
            for (auto &value : point)
                value = edge * (static_cast<double>(engine()) / 4294967296.0 - 0.5);
        for (std::size_t i = 0; i < weights_.size(); ++i)
            weights_[i] = weightOf(bounds.ranges[i]);
    }

    std::vector<Position> folded() {
        constexpr int sweepsInSpace = 200, sweepsPressed = 150, sweepsFlat = 300;
        constexpr double press = 0.95;
        for (int i = 0; i < sweepsInSpace; ++i)
            sweep(1.0);
        for (int i = 0; i < sweepsPressed; ++i)
            sweep(press);
        for (int i = 0; i < sweepsFlat; ++i)
            sweep(0.0);
        std::vector<Position> positions;
        for (const auto &point : points_)
            positions.push_back({point[0], point[1], point[2]});
        return positions;
    }

private:
    static double weightOf(const DistanceBounds::Range &range) {
        const double distance = std::isinf(range.most) ? range.least : range.most;
        return distance <= 0 ? 0.0 : 1.0 / std::pow(distance, 4);
    }

    void sweep(double keptOfTheFourth) {
        for (std::size_t atom = 0; atom < points_.size(); ++atom) {
            Point sum = Point::Zero();
            double weights = 0.0;
            for (std::size_t other = 0; other < points_.size(); ++other) {
                if (other == atom) continue;
                const Point way = points_[atom] - points_[other];
                const double now = std::max(way.norm(), 1e-6);
                const auto &range = bounds_.of(atom, other);
                const double distance = std::clamp(now, range.least, range.most);
                if (distance == now && std::isinf(range.most)) continue;
                const double weight = weights_[atom * bounds_.atoms + other];
                sum += weight * (points_[other] + distance / now * way);
                weights += weight;
            }
            if (weights > 0) points_[atom] = sum / weights;
            points_[atom][3] *= keptOfTheFourth;
        }
    }

    const DistanceBounds &bounds_;
    std::vector<Point> points_;
    std::vector<double> weights_;
};

} // namespace

DistanceBounds distanceBounds(const Structure &structure, const StereoMarks &marks) {
    return BoundsMaker(structure).made(marks);
}

DistanceBounds boundsBetween(const DistanceBounds &one, const DistanceBounds &other) {
    auto result = one;
    for (std::size_t i = 0; i < result.ranges.size(); ++i) {
        const auto &a = one.ranges[i], &b = other.ranges[i];
        const double shorter = std::min(a.most, b.most), longer = std::max(a.most, b.most);
        const bool held = std::isinf(longer) && !std::isinf(shorter);
        const double least = held ? shorter : std::min(a.least, b.least);
        result.ranges[i] = {least, held ? loosened * shorter : longer};
    }
    return result;
}

std::vector<Position> embeddedWithin(const DistanceBounds &bounds, unsigned seed) {
    return Folding(bounds, seed).folded();
}

} // namespace saddlefit::host
