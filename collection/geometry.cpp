#include "collection/geometry.hpp"

#include "collection/embedding.hpp"
#include "host/reactions/distance_fit.hpp"
#include "host/reactions/relaxation.hpp"
#include "host/reactions/start_geometry.hpp"
#include "host/saddle/hessian.hpp"
#include "host/saddle/minimise.hpp"
#include "host/structures/babel.hpp"
#include "host/structures/element_data.hpp"
#include "host/structures/units.hpp"

#include <algorithm>
#include <limits>
#include <numbers>

namespace saddlefit::collection {

namespace {

constexpr double heavyFactor = 1.33, hydrogenFactor = 1.29; // of the sum of radii
constexpr double betweenHydrogens = 0.95 / angstromPerBohr;
constexpr double springConstant = 0.5; // hartree per square bohr
constexpr int springSteps = 15;
constexpr int arrangements = 24;
constexpr double contact = 2.6 / angstromPerBohr; // nearer, atoms of two molecules are in the way

std::vector<Position> positionsOf(const Eigen::VectorXd &coordinates) {
    std::vector<Position> positions;
    for (Eigen::Index i = 0; i + 2 < coordinates.size(); i += 3) {
        const Eigen::Vector3d at = angstromPerBohr * coordinates.segment<3>(i);
        positions.push_back({at.x(), at.y(), at.z()});
    }
    return positions;
}

Eigen::VectorXd coordinatesOf(const std::vector<Position> &positions) {
    Eigen::VectorXd coordinates(static_cast<Eigen::Index>(3 * positions.size()));
    for (std::size_t i = 0; i < positions.size(); ++i)
        coordinates.segment<3>(static_cast<Eigen::Index>(3 * i)) =
            Eigen::Vector3d(positions[i].x, positions[i].y, positions[i].z) / angstromPerBohr;
    return coordinates;
}

Eigen::Vector3d atomAt(const Eigen::VectorXd &coordinates, int atom) {
    return coordinates.segment<3>(3 * atom);
}

double distance(const Eigen::VectorXd &coordinates, const AtomPair &pair) {
    return (atomAt(coordinates, pair.first) - atomAt(coordinates, pair.second)).norm();
}

Structure structureOf(const Species &species, const BondOrders &orders,
                      const Eigen::VectorXd &coordinates) {
    Structure structure;
    const auto positions = positionsOf(coordinates);
    for (std::size_t i = 0; i < positions.size(); ++i)
        structure.atoms.push_back({species.elements[i], 0, positions[i]});
    for (const auto &[pair, order] : orders)
        structure.bonds.push_back({pair.first, pair.second, order});
    return structure;
}

std::vector<AtomPair> pairsOf(const BondsChanged &changed) {
    auto pairs = changed.made;
    pairs.insert(pairs.end(), changed.broken.begin(), changed.broken.end());
    return pairs;
}

SpecialDistances wantedLengths(const Species &species, const BondsChanged &changed) {
    SpecialDistances wanted;
    for (const auto &pair : pairsOf(changed))
        wanted[pair] = {angstromPerBohr * transitionLength(species, pair)};
    return wanted;
}

/// Each coordinate moved a little: where atoms stand in line Open Babel's force fields push them
/// aside in directions that differ from run to run. (Of three atoms they leave none off: these are
/// fitted to distances instead.)
Eigen::VectorXd offLines(Eigen::VectorXd coordinates) {
    constexpr double most = 0.05; // bohr
    Random random(1);
    for (auto &coordinate : coordinates)
        coordinate += most * (2.0 * random.uniform() - 1.0);
    return coordinates;
}

/// A surface with springs on some distances.
class SpringSurface final : public EnergySurface {
public:
    SpringSurface(EnergySurface &surface, std::vector<AtomPair> pairs)
        : EnergySurface(surface.species()), surface_(surface), pairs_(std::move(pairs)) {}

    std::string level() const override { return surface_.level(); }

    /// What the springs add to a Hessian.
    Eigen::MatrixXd stiffness(const Eigen::VectorXd &coordinates) const {
        Eigen::MatrixXd sum = Eigen::MatrixXd::Zero(coordinates.size(), coordinates.size());
        for (const auto &pair : pairs_) {
            const Eigen::VectorXd gradient = lengthGradient(coordinates, pair);
            sum += springConstant * gradient * gradient.transpose();
        }
        return sum;
    }

private:
    static Eigen::VectorXd lengthGradient(const Eigen::VectorXd &coordinates,
                                          const AtomPair &pair) {
        Eigen::VectorXd gradient = Eigen::VectorXd::Zero(coordinates.size());
        const Eigen::Vector3d unit =
            (atomAt(coordinates, pair.first) - atomAt(coordinates, pair.second)).normalized();
        gradient.segment<3>(3 * pair.first) = unit;
        gradient.segment<3>(3 * pair.second) = -unit;
        return gradient;
    }

    Evaluation evaluate(const Eigen::VectorXd &coordinates) override {
        auto result = surface_.at(coordinates);
        for (const auto &pair : pairs_) {
            const double stretch = distance(coordinates, pair) - transitionLength(species(), pair);
            result.energy += 0.5 * springConstant * stretch * stretch;
            result.gradient += springConstant * stretch * lengthGradient(coordinates, pair);
        }
        return result;
    }

    EnergySurface &surface_;
    std::vector<AtomPair> pairs_;
};

/// The atoms on the far side of a bond; empty if it is in a ring.
std::vector<int> beyond(const BondOrders &orders, const AtomPair &bond) {
    std::vector<int> reached{bond.second};
    for (std::size_t i = 0; i < reached.size(); ++i) {
        for (const auto &[pair, order] : orders) {
            if (pair == bond) continue;
            const auto [a, b] = pair;
            if (a != reached[i] && b != reached[i]) continue;
            const int next = a == reached[i] ? b : a;
            if (next == bond.first) return {};
            if (std::find(reached.begin(), reached.end(), next) == reached.end())
                reached.push_back(next);
        }
    }
    return reached;
}

/// Single bonds that have more than hydrogens or nothing on both sides, and are in no ring.
std::vector<AtomPair> turnable(const Molecule3D &molecule) {
    const auto &orders = molecule.drawing.orders;
    std::vector<int> degree(molecule.species.elements.size(), 0);
    for (const auto &[pair, order] : orders) {
        ++degree[static_cast<std::size_t>(pair.first)];
        ++degree[static_cast<std::size_t>(pair.second)];
    }
    std::vector<AtomPair> bonds;
    for (const auto &[pair, order] : orders) {
        const bool inner = degree[static_cast<std::size_t>(pair.first)] > 1 &&
                           degree[static_cast<std::size_t>(pair.second)] > 1;
        if (order == 1 && inner && !beyond(orders, pair).empty()) bonds.push_back(pair);
    }
    return bonds;
}

void turn(Eigen::VectorXd &coordinates, const BondOrders &orders, const AtomPair &bond,
          double angle) {
    const Eigen::Vector3d origin = atomAt(coordinates, bond.first);
    const Eigen::Vector3d axis = (atomAt(coordinates, bond.second) - origin).normalized();
    const Eigen::Matrix3d matrix = Eigen::AngleAxisd(angle, axis).toRotationMatrix();
    for (const int atom : beyond(orders, bond))
        coordinates.segment<3>(3 * atom) = origin + matrix * (atomAt(coordinates, atom) - origin);
}

Eigen::Matrix3d randomTurn(Random &random) {
    const double u = random.uniform(), v = 2 * std::numbers::pi * random.uniform(),
                 w = 2 * std::numbers::pi * random.uniform();
    return Eigen::Quaterniond(std::sqrt(1 - u) * std::sin(v), std::sqrt(1 - u) * std::cos(v),
                              std::sqrt(u) * std::sin(w), std::sqrt(u) * std::cos(w))
        .toRotationMatrix();
}

/// Each molecule turned at random about its centre, the centres a few angstrom apart.
Eigen::VectorXd scatteredFragments(const Eigen::VectorXd &coordinates,
                                   const std::vector<std::vector<int>> &fragments, Random &random) {
    Eigen::VectorXd placed = coordinates;
    for (std::size_t i = 0; i < fragments.size(); ++i) {
        Eigen::Vector3d centre = Eigen::Vector3d::Zero();
        for (const int atom : fragments[i])
            centre += atomAt(coordinates, atom) / static_cast<double>(fragments[i].size());
        const Eigen::Matrix3d matrix = randomTurn(random);
        const Eigen::Vector3d place = randomTurn(random) * Eigen::Vector3d(i == 0 ? 0 : 6, 0, 0);
        for (const int atom : fragments[i])
            placed.segment<3>(3 * atom) = place + matrix * (atomAt(coordinates, atom) - centre);
    }
    return placed;
}

/// A bond that is made stands in line with one that breaks at the same atom, as far as the two far
/// ends are not joined by another changing bond.
void addLines(const Species &species, const BondsChanged &changed, SpecialDistances &wanted) {
    for (const auto &made : changed.made) {
        for (const auto &broken : changed.broken) {
            for (const int middle : {made.first, made.second}) {
                if (broken.first != middle && broken.second != middle) continue;
                const int one = made.first == middle ? made.second : made.first;
                const int other = broken.first == middle ? broken.second : broken.first;
                const auto ends = orderedPair(one, other);
                if (one == other || wanted.contains(ends)) continue;
                const double sum =
                    transitionLength(species, made) + transitionLength(species, broken);
                wanted[ends] = {angstromPerBohr * sum, 10.0};
            }
        }
    }
}

/// How much atoms of different molecules are in each other's way, and how far the wanted lengths
/// are from being there.
double faultOf(const Eigen::VectorXd &coordinates, const std::vector<int> &fragmentOf,
               const SpecialDistances &wanted) {
    double fault = 0.0;
    const int atoms = static_cast<int>(fragmentOf.size());
    for (int a = 0; a < atoms; ++a) {
        for (int b = a + 1; b < atoms; ++b) {
            const double length = distance(coordinates, {a, b});
            const auto found = wanted.find({a, b});
            if (found != wanted.end()) {
                const double off = length - found->second.distance / angstromPerBohr;
                fault += 2.0 * off * off;
            } else if (fragmentOf[static_cast<std::size_t>(a)] !=
                       fragmentOf[static_cast<std::size_t>(b)]) {
                const double off = std::max(0.0, contact - length);
                fault += off * off;
            }
        }
    }
    return fault;
}

} // namespace

double transitionLength(const Species &species, const AtomPair &pair) {
    const int one = species.elements[static_cast<std::size_t>(pair.first)];
    const int other = species.elements[static_cast<std::size_t>(pair.second)];
    if (one == 1 && other == 1) return betweenHydrogens;
    const double factor = one == 1 || other == 1 ? hydrogenFactor : heavyFactor;
    return factor * (covalentRadius(one) + covalentRadius(other));
}

Molecule3D moleculeFrom(const std::string &smiles, Embedding embedding) {
    const auto parsed = sharedBabel().parseSmiles({smiles, true, false});
    Molecule3D molecule;
    for (const auto &atom : parsed.atoms) {
        molecule.species.elements.push_back(atom.element);
        molecule.species.charge += atom.charge;
        molecule.mapNumbers.push_back(atom.mapNumber);
    }
    BondOrders orders;
    for (const auto &bond : parsed.bonds)
        orders[orderedPair(bond.atom1, bond.atom2)] = bond.order;
    auto drawing = drawn(molecule.species, orders);
    if (!drawing) throw Error(smiles + " is no closed shell that the collection knows");
    molecule.drawing = std::move(*drawing);
    if (embedding == Embedding::threeDimensions)
        molecule.coordinates = embedded(molecule.species, molecule.drawing);
    return molecule;
}

std::string smilesOf(const Species &species, const LewisStructure &drawing) {
    babel::WriteSmiles request;
    for (std::size_t i = 0; i < species.elements.size(); ++i) {
        auto &atom = request.molecule.atoms.emplace_back();
        atom.element = species.elements[i];
        atom.charge = drawing.charges[i];
    }
    for (const auto &[pair, order] : drawing.orders)
        request.molecule.bonds.push_back({pair.first, pair.second, order, false});
    return sharedBabel().writeSmiles(request);
}

Eigen::VectorXd relaxedByForceField(const Species &species, const BondOrders &orders,
                                    const Eigen::VectorXd &coordinates) {
    const auto start = offLines(coordinates);
    if (species.elements.size() < 4) return atUsualDistances(species, orders, start);
    const auto structure = structureOf(species, orders, start);
    return coordinatesOf(
        host::relaxByForceField({structure.atoms, positionsOf(start), structure.bonds, {}, {}}));
}

std::vector<Eigen::VectorXd> turned(const Molecule3D &molecule, std::size_t count,
                                    std::uint64_t seed) {
    std::vector<Eigen::VectorXd> conformers{molecule.coordinates};
    const auto bonds = turnable(molecule);
    Random random(seed);
    while (!bonds.empty() && conformers.size() < count) {
        auto coordinates = molecule.coordinates;
        for (const auto &bond : bonds)
            turn(coordinates, molecule.drawing.orders, bond,
                 2 * std::numbers::pi * random.uniform());
        conformers.push_back(std::move(coordinates));
    }
    return conformers;
}

Eigen::VectorXd fittedStart(const Species &species, const Proposal &proposal,
                            const Eigen::VectorXd &reactant, const Eigen::VectorXd &product) {
    const auto before = structureOf(species, proposal.reactant.orders, reactant);
    const auto after = structureOf(species, proposal.product.orders, product);
    const auto changed = proposal.changed();
    std::set<int> centre;
    for (const auto &[a, b] : pairsOf(changed))
        centre.insert({a, b});
    const std::vector<int> atoms(centre.begin(), centre.end());
    auto positions = meanGeometry(before, after, atoms);
    const auto mean = positions;
    fitDistances(positions,
                 [&](std::size_t a, std::size_t b) { return distanceBetween(mean[a], mean[b]); },
                 wantedLengths(species, changed), {});
    return coordinatesOf(positions);
}

Eigen::VectorXd dockedStart(const Species &species, const Proposal &proposal,
                            const Eigen::VectorXd &fragments, std::uint64_t seed) {
    constexpr double notWanted = 100.0; // angstrom; so far apart a pair does not count
    const auto members = fragmentsOf(species.elements.size(), graphOf(proposal.reactant.orders));
    std::vector<int> fragmentOf(species.elements.size(), 0);
    for (std::size_t i = 0; i < members.size(); ++i)
        for (const int atom : members[i])
            fragmentOf[static_cast<std::size_t>(atom)] = static_cast<int>(i);
    const auto own = positionsOf(fragments);
    auto wanted = wantedLengths(species, proposal.changed());
    addLines(species, proposal.changed(), wanted);

    Random random(seed);
    Eigen::VectorXd best;
    double leastFault = std::numeric_limits<double>::max();
    for (int i = 0; i < arrangements; ++i) {
        auto positions = positionsOf(scatteredFragments(fragments, members, random));
        fitDistances(positions,
                     [&](std::size_t a, std::size_t b) {
                         return fragmentOf[a] == fragmentOf[b] ? distanceBetween(own[a], own[b])
                                                               : notWanted;
                     },
                     wanted, {});
        const auto coordinates = coordinatesOf(positions);
        const double fault = faultOf(coordinates, fragmentOf, wanted);
        if (fault >= leastFault) continue;
        leastFault = fault;
        best = coordinates;
    }
    return best;
}

Eigen::VectorXd relaxedUnderSprings(EnergySurface &surface, const BondsChanged &changed,
                                    const Eigen::VectorXd &start) {
    SpringSurface springs(surface, pairsOf(changed));
    MinimiseOptions options;
    options.mostSteps = springSteps;
    const Eigen::MatrixXd hessian =
        modelHessian(surface.species(), start) + springs.stiffness(start);
    return minimise(springs, start, hessian, options).coordinates;
}

} // namespace saddlefit::collection
