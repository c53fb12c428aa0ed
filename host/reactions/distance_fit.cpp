#include "host/reactions/distance_fit.hpp"

#include <algorithm>
#include <cmath>

namespace saddlefit::host {

namespace {

constexpr int mostSweeps = 1000;
constexpr double smallestMove = 1e-4;     // angstrom; no atom moving further ends the fit
constexpr double farthestPair = 8.0;      // angstrom; beyond it a pair weighs next to nothing
constexpr double smallestDistance = 1e-6; // angstrom; atoms nearer than that have no direction
constexpr double shortestWeighed = 0.5;   // angstrom; no pair weighs more than one so near

struct Pull {
    std::size_t partner;
    double distance;
    double weight;
};

using Pulls = std::vector<std::vector<Pull>>; // by atom

void addPair(Pulls &pulls, std::size_t a, std::size_t b, double distance, double factor) {
    const double weight = factor / std::pow(std::max(distance, shortestWeighed), 4);
    pulls[a].push_back({b, distance, weight});
    pulls[b].push_back({a, distance, weight});
}

Pulls pullsBetween(std::size_t atoms, const WantedDistance &wanted,
                   const SpecialDistances &special) {
    Pulls pulls(atoms);
    for (std::size_t a = 0; a < atoms; ++a) {
        for (std::size_t b = a + 1; b < atoms; ++b) {
            if (special.contains({static_cast<int>(a), static_cast<int>(b)})) continue;
            const double distance = wanted(a, b);
            if (distance <= farthestPair) addPair(pulls, a, b, distance, 1.0);
        }
    }
    for (const auto &[pair, wish] : special) {
        addPair(pulls, static_cast<std::size_t>(pair.first), static_cast<std::size_t>(pair.second),
                wish.distance, wish.factor);
    }
    return pulls;
}

// Where an atom would stand if each partner pulled it to its wanted distance along the line between
// them: the minimum of a parabola that lies on the sum and touches it at the present place.
Position pulled(const std::vector<Position> &positions, std::size_t atom,
                const std::vector<Pull> &pulls) {
    const Position &at = positions[atom];
    Position sum;
    double weights = 0.0;
    for (const auto &[partner, distance, weight] : pulls) {
        const Position &other = positions[partner];
        const double now = std::max(distanceBetween(at, other), smallestDistance);
        const double scale = distance / now;
        sum.x += weight * (other.x + scale * (at.x - other.x));
        sum.y += weight * (other.y + scale * (at.y - other.y));
        sum.z += weight * (other.z + scale * (at.z - other.z));
        weights += weight;
    }
    if (weights == 0.0) return at;
    return {sum.x / weights, sum.y / weights, sum.z / weights};
}

} // namespace

void fitDistances(std::vector<Position> &positions, const WantedDistance &wanted,
                  const SpecialDistances &special, std::span<const int> fixed) {
    const auto pulls = pullsBetween(positions.size(), wanted, special);
    std::vector<bool> stays(positions.size(), false);
    for (const int atom : fixed)
        stays[static_cast<std::size_t>(atom)] = true;
    double farthest = 1.0;
    for (int sweep = 0; sweep < mostSweeps && farthest > smallestMove; ++sweep) {
        farthest = 0.0;
        for (std::size_t atom = 0; atom < positions.size(); ++atom) {
            if (stays[atom]) continue;
            const auto next = pulled(positions, atom, pulls[atom]);
            farthest = std::max(farthest, distanceBetween(positions[atom], next));
            positions[atom] = next;
        }
    }
}

} // namespace saddlefit::host
