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

/// The partners of an atom, with the distances that are wanted of them and the weights of these.
struct Pulls {
    std::vector<std::size_t> partners;
    std::vector<double> distances, weights;
    double allWeights = 0.0;

    void add(std::size_t partner, double distance, double weight) {
        partners.push_back(partner);
        distances.push_back(distance);
        weights.push_back(weight);
        allWeights += weight;
    }
};

void addPair(std::vector<Pulls> &pulls, std::size_t a, std::size_t b, double distance,
             double factor) {
    const double weight = factor / std::pow(std::max(distance, shortestWeighed), 4);
    pulls[a].add(b, distance, weight);
    pulls[b].add(a, distance, weight);
}

std::vector<Pulls> pullsBetween(std::size_t atoms, const WantedDistance &wanted,
                                const SpecialDistances &special) {
    std::vector<Pulls> pulls(atoms);
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

/// Coordinates in columns, for loops that a compiler does several turns of at once.
struct Columns {
    explicit Columns(std::size_t count) : x(count), y(count), z(count) {}
    std::vector<double> x, y, z;

    Position at(std::size_t row) const { return {x[row], y[row], z[row]}; }
    void set(std::size_t row, const Position &to) {
        x[row] = to.x;
        y[row] = to.y;
        z[row] = to.z;
    }
};

/// The distance, in the steps of std::hypot() but without its branch: what is below the smallest
/// distance counts as that.
[[gnu::always_inline]] inline double separation(double x, double y, double z) {
    const double a = std::abs(x), b = std::abs(y), c = std::abs(z);
    const double largest = std::max(std::max(std::max(a, b), c), smallestDistance / 2);
    const double u = a / largest, v = b / largest, w = c / largest;
    return std::max(largest * std::sqrt(u * u + v * v + w * w), smallestDistance);
}

// Where an atom would stand if each partner pulled it to its wanted distance along the line between
// them: the minimum of a parabola that lies on the sum and touches it at the present place. The
// terms are found some at a time, and summed up from the first to the last.
[[gnu::always_inline]] inline Position pulledBy(const Columns &atoms, const Position &at,
                                                const Pulls &pulls) {
    constexpr std::size_t some = 64;
    double termX[some], termY[some], termZ[some];
    const double *const x = atoms.x.data(), *const y = atoms.y.data(), *const z = atoms.z.data();
    Position sum;
    for (std::size_t first = 0; first < pulls.partners.size(); first += some) {
        const std::size_t count = std::min(some, pulls.partners.size() - first);
        const std::size_t *const partners = pulls.partners.data() + first;
        const double *const distances = pulls.distances.data() + first;
        const double *const weights = pulls.weights.data() + first;
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t k = partners[i];
            const double dx = at.x - x[k], dy = at.y - y[k], dz = at.z - z[k];
            const double scale = distances[i] / separation(dx, dy, dz);
            termX[i] = weights[i] * (x[k] + scale * dx);
            termY[i] = weights[i] * (y[k] + scale * dy);
            termZ[i] = weights[i] * (z[k] + scale * dz);
        }
        for (std::size_t i = 0; i < count; ++i) {
            sum.x += termX[i];
            sum.y += termY[i];
            sum.z += termZ[i];
        }
    }
    return {sum.x / pulls.allWeights, sum.y / pulls.allWeights, sum.z / pulls.allWeights};
}

#ifdef __x86_64__
// Four terms at once in place of two; without fused operations, which would change digits.
[[gnu::target("avx2")]] Position pulledByFours(const Columns &atoms, const Position &at,
                                               const Pulls &pulls) {
    return pulledBy(atoms, at, pulls);
}
#endif

Position pulled(const Columns &atoms, std::size_t atom, const Pulls &pulls) {
    const Position at = atoms.at(atom);
    if (pulls.allWeights == 0.0) return at;
#ifdef __x86_64__
    static const bool byFours = __builtin_cpu_supports("avx2") != 0;
    if (byFours) return pulledByFours(atoms, at, pulls);
#endif
    return pulledBy(atoms, at, pulls);
}

} // namespace

void fitDistances(std::vector<Position> &positions, const WantedDistance &wanted,
                  const SpecialDistances &special, std::span<const int> fixed) {
    const auto pulls = pullsBetween(positions.size(), wanted, special);
    std::vector<bool> stays(positions.size(), false);
    for (const int atom : fixed)
        stays[static_cast<std::size_t>(atom)] = true;
    Columns atoms(positions.size());
    for (std::size_t atom = 0; atom < positions.size(); ++atom)
        atoms.set(atom, positions[atom]);
    double farthest = 1.0;
    for (int sweep = 0; sweep < mostSweeps && farthest > smallestMove; ++sweep) {
        farthest = 0.0;
        for (std::size_t atom = 0; atom < positions.size(); ++atom) {
            if (stays[atom]) continue;
            const auto next = pulled(atoms, atom, pulls[atom]);
            farthest = std::max(farthest, distanceBetween(atoms.at(atom), next));
            atoms.set(atom, next);
        }
    }
    for (std::size_t atom = 0; atom < positions.size(); ++atom)
        positions[atom] = atoms.at(atom);
}

} // namespace saddlefit::host
