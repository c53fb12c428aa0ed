#include "host/reactions/start_geometry.hpp"

#include "saddlefit/superpose.h"

#include "host/reactions/distance_fit.hpp"
#include "host/structures/host_molecule.hpp"

#include <numeric>

namespace saddlefit::host {

namespace {

constexpr int centreWeight = 10;

// All atoms, and those of the centre again and again: the superposition knows no weights.
HostMolecule weightedPoints(const std::vector<StructureAtom> &atoms, std::span<const int> centre) {
    auto points = atoms;
    for (int i = 1; i < centreWeight; ++i) {
        for (const int atom : centre)
            points.push_back(atoms[static_cast<std::size_t>(atom)]);
    }
    return hostMolecule(points);
}

} // namespace

std::vector<Position> meanGeometry(const std::vector<StructureAtom> &reactant,
                                   const std::vector<StructureAtom> &product,
                                   std::span<const int> centre) {
    const auto before = weightedPoints(reactant, centre), after = weightedPoints(product, centre);
    std::vector<int> sameAtoms(static_cast<std::size_t>(before->atomCount));
    std::iota(sameAtoms.begin(), sameAtoms.end(), 0);
    alignMapMols(before.get(), after.get(), sameAtoms.data(), nullptr, nullptr);
    std::vector<Position> mean;
    for (std::size_t i = 0; i < reactant.size(); ++i) {
        const Atom &a = before->atoms[i], &b = after->atoms[i];
        mean.push_back({(a.x + b.x) / 2, (a.y + b.y) / 2, (a.z + b.z) / 2});
    }
    // The atoms of a methyl group that has turned by half lie near its axis in the mean of the
    // positions. Mean distances keep it whole (linear synchronous transit: Halgren and Lipscomb,
    // Chem. Phys. Lett. 49, 225 (1977)).
    const auto meanDistance = [&](std::size_t i, std::size_t k) {
        return (distanceBetween(reactant[i].position, reactant[k].position) +
                distanceBetween(product[i].position, product[k].position)) /
               2;
    };
    fitDistances(mean, meanDistance, {}, {});
    return mean;
}

} // namespace saddlefit::host
