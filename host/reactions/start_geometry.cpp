#include "host/reactions/start_geometry.hpp"

#include "host/reactions/bond_paths.hpp"
#include "host/reactions/distance_fit.hpp"
#include "host/structures/host_molecule.hpp"
#include "host/structures/superposition.hpp"

#include <numeric>

namespace saddlefit::host {

namespace {

constexpr int centreWeight = 10;

/// Share of the way from the distance on the side with the shorter path of bonds to the other one.
constexpr double shareOfTheWay = 0.27;

// All atoms, and those of the centre again and again: the superposition knows no weights.
HostMolecule weightedPoints(const std::vector<StructureAtom> &atoms, std::span<const int> centre) {
    auto points = atoms;
    for (int i = 1; i < centreWeight; ++i) {
        for (const int atom : centre)
            points.push_back(atoms[static_cast<std::size_t>(atom)]);
    }
    return hostMolecule(points);
}

/// From every atom to every atom.
std::vector<std::vector<int>> allPaths(const Structure &side) {
    std::vector<AtomPair> bonds;
    for (const auto &bond : side.bonds)
        bonds.emplace_back(bond.atom1, bond.atom2);
    const auto neighbours = neighboursBy(bonds, side.atoms.size());
    std::vector<std::vector<int>> paths;
    for (std::size_t atom = 0; atom < side.atoms.size(); ++atom)
        paths.push_back(pathsFrom(static_cast<int>(atom), neighbours));
    return paths;
}

/// The wanted distances.
class Between {
public:
    Between(const Structure &reactant, const Structure &product)
        : reactant_(reactant),
          product_(product),
          pathsBefore_(allPaths(reactant)),
          pathsAfter_(allPaths(product)) {}

    double operator()(std::size_t i, std::size_t k) const {
        const double before = distanceIn(reactant_, i, k), after = distanceIn(product_, i, k);
        const int pathBefore = pathsBefore_[i][k], pathAfter = pathsAfter_[i][k];
        if (pathBefore == pathAfter) return (before + after) / 2;
        if (pathBefore < pathAfter) return before + shareOfTheWay * (after - before);
        return after + shareOfTheWay * (before - after);
    }

private:
    static double distanceIn(const Structure &side, std::size_t i, std::size_t k) {
        return distanceBetween(side.atoms[i].position, side.atoms[k].position);
    }
    const Structure &reactant_;
    const Structure &product_;
    std::vector<std::vector<int>> pathsBefore_;
    std::vector<std::vector<int>> pathsAfter_;
};

} // namespace

std::vector<Position> meanGeometry(const Structure &reactant, const Structure &product,
                                   std::span<const int> centre) {
    const auto before = weightedPoints(reactant.atoms, centre);
    const auto after = weightedPoints(product.atoms, centre);
    std::vector<int> sameAtoms(static_cast<std::size_t>(before->atomCount));
    std::iota(sameAtoms.begin(), sameAtoms.end(), 0);
    superpose(*before, *after, sameAtoms);
    std::vector<Position> mean;
    for (std::size_t i = 0; i < reactant.atoms.size(); ++i) {
        const Atom &a = before->atoms[i], &b = after->atoms[i];
        mean.push_back({(a.x + b.x) / 2, (a.y + b.y) / 2, (a.z + b.z) / 2});
    }
    // The atoms of a methyl group that has turned by half lie near its axis in the mean of the
    // positions. Distances between those of the sides keep it whole (linear synchronous transit:
    // Halgren and Lipscomb, Chem. Phys. Lett. 49, 225 (1977)).
    fitDistances(mean, Between(reactant, product), {}, {});
    return mean;
}

} // namespace saddlefit::host
