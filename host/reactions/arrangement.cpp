#include "host/reactions/arrangement.hpp"

#include "host/reactions/contacts.hpp"
#include "host/reactions/rigid_move.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>

namespace saddlefit::host {

namespace {

using Points = std::vector<Eigen::Vector3d>;

constexpr int mostSweeps = 400;
constexpr double smallestMove = 1e-4; // angstrom
constexpr int otherStarts = 24;
constexpr double startGap = 3.0; // angstrom, between the spheres around two fragments

// Of the sums of radii: what pushes, and what is too near.
constexpr double nearest = 0.82, clashing = 0.5;

constexpr double inertia = 0.02; // of each atom's place, so that a move is always determined
constexpr double wider = 1.2;    // the next try, where wanted distances leave no room
constexpr int mostTries = 5;

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

Points pointsOf(const Structure &side) {
    Points points;
    for (const auto &atom : side.atoms)
        points.push_back(vectorOf(atom.position));
    return points;
}

std::vector<Position> positionsFrom(const Points &points) {
    std::vector<Position> positions;
    for (const auto &at : points)
        positions.push_back(positionOf(at));
    return positions;
}

/// Two atoms of different fragments.
struct Pair {
    int a, b;
    double distance;
    double weight;
    bool isContact; ///< pushes only
};

std::vector<Pair> pairsBetween(const Structure &side, std::span<const int> fragment,
                               const SpecialDistances &wanted, double stretch) {
    std::vector<Pair> pairs;
    const int count = static_cast<int>(side.atoms.size());
    for (int a = 0; a < count; ++a) {
        for (int b = a + 1; b < count; ++b) {
            if (fragment[index(a)] == fragment[index(b)]) continue;
            const auto wish = wanted.find({a, b});
            if (wish != wanted.end()) {
                pairs.push_back(
                    {a, b, stretch * wish->second.distance, wish->second.factor, false});
                continue;
            }
            const double contact =
                contactDistance(side.atoms[index(a)].element, side.atoms[index(b)].element);
            pairs.push_back({a, b, nearest * contact, 1.0, true});
        }
    }
    return pairs;
}

/// Falls with every sweep: the fragments move one after the other to where their atoms are pulled,
/// as near as a rigid body comes to that (majorisation, as in fitDistances()).
class Docking {
public:
    Docking(const Structure &side, std::span<const Fragment> fragments,
            const SpecialDistances &wanted, double stretch)
        : fragments_(fragments),
          fragment_(fragmentNumbers({fragments.begin(), fragments.end()}, side.atoms.size())),
          pairs_(pairsBetween(side, fragment_, wanted, stretch)) {}

    double strain(const Points &points) const {
        double sum = 0.0;
        for (const auto &pair : pairs_) {
            const double off = offOf(pair, points);
            sum += pair.weight * off * off;
        }
        return sum;
    }

    void settle(Points &points) const {
        double farthest = 1.0;
        for (int sweep = 0; sweep < mostSweeps && farthest > smallestMove; ++sweep) {
            farthest = 0.0;
            for (std::size_t number = 1; number < fragments_.size(); ++number)
                farthest = std::max(farthest, move(points, static_cast<int>(number)));
        }
    }

private:
    static double offOf(const Pair &pair, const Points &points) {
        const double now = (points[index(pair.a)] - points[index(pair.b)]).norm();
        return pair.isContact ? std::max(pair.distance - now, 0.0) : now - pair.distance;
    }

    double move(Points &points, int number) const {
        Points targets(points.size(), Eigen::Vector3d::Zero());
        std::vector<double> weights(points.size(), 0.0);
        for (const auto &pair : pairs_) {
            const bool first = fragment_[index(pair.a)] == number;
            if (!first && fragment_[index(pair.b)] != number) continue;
            if (pair.isContact && offOf(pair, points) == 0.0) continue;
            const auto atom = index(first ? pair.a : pair.b);
            const auto &other = points[index(first ? pair.b : pair.a)];
            const Eigen::Vector3d way = points[atom] - other;
            const Eigen::Vector3d target = other + pair.distance / std::max(way.norm(), 1e-6) * way;
            targets[atom] += pair.weight * target;
            weights[atom] += pair.weight;
        }
        return follow(points, fragments_[index(number)], targets, weights);
    }

    static double follow(Points &points, const Fragment &fragment, const Points &sums,
                         const std::vector<double> &weights) {
        Points from, to;
        std::vector<double> weighed;
        for (const int atom : fragment) {
            const auto i = index(atom);
            from.push_back(points[i]);
            weighed.push_back(weights[i] + inertia);
            to.push_back((sums[i] + inertia * points[i]) / weighed.back());
        }
        const auto move = nearestMove(from, to, weighed);
        double farthest = 0.0;
        for (std::size_t i = 0; i < fragment.size(); ++i) {
            points[index(fragment[i])] = move * from[i];
            farthest = std::max(farthest, (points[index(fragment[i])] - from[i]).norm());
        }
        return farthest;
    }

    std::span<const Fragment> fragments_;
    std::vector<int> fragment_;
    std::vector<Pair> pairs_;
};

/// The same numbers on every machine, from 0 to 1.
class Numbers {
public:
    double next() { return static_cast<double>(engine_()) / 4294967296.0; }
    Eigen::Quaterniond rotation() {
        constexpr double turn = 6.283185307179586; // Shoemake, Graphics Gems III, 124 (1992)
        const double u = next(), v = turn * next(), w = turn * next();
        const double p = std::sqrt(1 - u), q = std::sqrt(u);
        return {p * std::sin(v), p * std::cos(v), q * std::sin(w), q * std::cos(w)};
    }

private:
    std::mt19937 engine_{5489U};
};

struct Sphere {
    Eigen::Vector3d centre = Eigen::Vector3d::Zero();
    double radius = 0.0;
};

Sphere sphereAround(const Points &points, const Fragment &fragment) {
    Sphere sphere;
    for (const int atom : fragment)
        sphere.centre += points[index(atom)] / static_cast<double>(fragment.size());
    for (const int atom : fragment)
        sphere.radius = std::max(sphere.radius, (points[index(atom)] - sphere.centre).norm());
    return sphere;
}

/// All around the first fragment, at random.
Points scattered(const Points &points, std::span<const Fragment> fragments, Numbers &numbers) {
    auto result = points;
    const auto first = sphereAround(points, fragments.front());
    for (std::size_t number = 1; number < fragments.size(); ++number) {
        const auto own = sphereAround(points, fragments[number]);
        const Eigen::Matrix3d turn = numbers.rotation().toRotationMatrix();
        const Eigen::Vector3d way = numbers.rotation() * Eigen::Vector3d::UnitX();
        const Eigen::Vector3d to = first.centre + (first.radius + own.radius + startGap) * way;
        for (const int atom : fragments[number])
            result[index(atom)] = to + turn * (points[index(atom)] - own.centre);
    }
    return result;
}

Points bestOf(const Structure &side, std::span<const Fragment> fragments, const Docking &docking,
              bool startsElsewhere) {
    constexpr double better = 0.98; // by so much at least, lest rounding decides
    auto best = pointsOf(side);
    docking.settle(best);
    Numbers numbers;
    double strain = docking.strain(best);
    for (int start = 0; startsElsewhere && start < otherStarts; ++start) {
        auto points = scattered(pointsOf(side), fragments, numbers);
        docking.settle(points);
        const double other = docking.strain(points);
        if (other >= better * strain) continue;
        strain = other;
        best = std::move(points);
    }
    return best;
}

} // namespace

std::vector<Position> arranged(const Structure &side, std::span<const Fragment> fragments,
                               const SpecialDistances &wanted, bool startsElsewhere) {
    auto placed = side;
    double stretch = 1.0;
    for (int attempt = 0; attempt < mostTries; ++attempt, stretch *= wider) {
        const Docking docking(side, fragments, wanted, stretch);
        setPositions(placed.atoms,
                     positionsFrom(bestOf(side, fragments, docking, startsElsewhere)));
        if (!fragmentsClash(placed, fragments)) break;
    }
    return positionsOf(placed.atoms);
}

std::vector<Position> superposedFragments(const Structure &side,
                                          std::span<const Fragment> fragments,
                                          std::span<const Position> places) {
    auto points = pointsOf(side);
    for (const auto &fragment : fragments) {
        Points from, to;
        for (const int atom : fragment) {
            from.push_back(points[index(atom)]);
            to.push_back(vectorOf(places[index(atom)]));
        }
        const auto move = nearestMove(from, to, std::vector<double>(from.size(), 1.0));
        for (const int atom : fragment)
            points[index(atom)] = move * points[index(atom)];
    }
    return positionsFrom(points);
}

bool fragmentsClash(const Structure &side, std::span<const Fragment> fragments) {
    const auto fragment = fragmentNumbers({fragments.begin(), fragments.end()}, side.atoms.size());
    for (std::size_t a = 0; a < side.atoms.size(); ++a) {
        for (std::size_t b = a + 1; b < side.atoms.size(); ++b) {
            if (fragment[a] == fragment[b]) continue;
            const auto &one = side.atoms[a], &other = side.atoms[b];
            const double contact = contactDistance(one.element, other.element);
            if (distanceBetween(one.position, other.position) < clashing * contact) return true;
        }
    }
    return false;
}

} // namespace saddlefit::host
