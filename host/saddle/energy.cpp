#include "host/saddle/energy.hpp"

#include "host/structures/units.hpp"
#include "host/system/interrupt.hpp"
#include "host/system/text.hpp"

#include <limits>
#include <numeric>

namespace saddlefit::host {

namespace {

// Nearer than any bond of hydrogen ever is; methods go on below it and give energies without sense.
constexpr double nearestAllowed = 0.3; // angstrom

void requireSoundGeometry(const Eigen::VectorXd &coordinates) {
    if (!coordinates.allFinite()) {
        throw Error("a coordinate of the geometry is no number");
    }
    if (coordinates.size() < 6) return;
    const auto nearest = nearestPair(coordinates);
    const double distance = nearest.distance * angstromPerBohr;
    if (distance >= nearestAllowed) return;
    throw Error("atoms " + std::to_string(nearest.atom1 + 1) + " and " +
                std::to_string(nearest.atom2 + 1) + " are " + formatted("%.3f", distance) +
                " angstrom apart; start from a geometry without atoms on top of each other")
        .about({nearest.atom1, nearest.atom2});
}

} // namespace

NearestPair nearestPair(const Eigen::VectorXd &coordinates) {
    NearestPair nearest{-1, -1, std::numeric_limits<double>::infinity()};
    const int atoms = static_cast<int>(coordinates.size() / 3);
    for (int a = 0; a < atoms; ++a) {
        for (int b = a + 1; b < atoms; ++b) {
            const double distance =
                (coordinates.segment<3>(3 * a) - coordinates.segment<3>(3 * b)).norm();
            if (distance < nearest.distance) nearest = {a, b, distance};
        }
    }
    return nearest;
}

void requirePossible(const Species &species, int heaviestElement) {
    if (species.elements.empty()) {
        throw Error("there are no atoms");
    }
    for (std::size_t i = 0; i < species.elements.size(); ++i) {
        const int element = species.elements[i];
        if (element >= 1 && element <= heaviestElement) continue;
        throw Error("atom " + std::to_string(i + 1) + " is of element " + std::to_string(element) +
                    "; the method knows elements 1 to " + std::to_string(heaviestElement))
            .about({static_cast<int>(i)});
    }
    const long electrons =
        std::accumulate(species.elements.begin(), species.elements.end(), 0L) - species.charge;
    const bool fits = species.unpaired >= 0 && species.unpaired <= electrons &&
                      (electrons - species.unpaired) % 2 == 0;
    if (electrons >= 1 && fits) return;
    throw Error("a charge of " + std::to_string(species.charge) + " leaves " +
                std::to_string(electrons) + " electrons, of which " +
                std::to_string(species.unpaired) +
                " cannot be unpaired; give another charge or number of unpaired electrons");
}

Evaluation EnergySurface::at(const Eigen::VectorXd &coordinates) {
    if (!species_.elements.empty()) requireSoundGeometry(coordinates);
    throwIfInterrupted();
    ++gradientsUsed_;
    auto result = evaluate(coordinates);
    if (std::isfinite(result.energy) && result.gradient.allFinite()) return result;
    throw Error(ErrorKind::program, level() + " gives no number as its energy");
}

} // namespace saddlefit::host
