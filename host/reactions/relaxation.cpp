#include "host/reactions/relaxation.hpp"

#include "host/reactions/distance_fit.hpp"
#include "host/reactions/strain.hpp"
#include "host/structures/babel.hpp"
#include "host/structures/labels.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace saddlefit::host {

namespace {

constexpr int mostSteps = 1000;
constexpr double energyLimit = 1e-5; // change per step at which the relaxation has converged

constexpr double constraintFactor = 1000; // of constraints, in the force field's units

constexpr double largestStretch = 0.20;  // of an unchanged bond
constexpr double smallestDistance = 0.7; // angstrom, between any two atoms

/// Without charges: the types of the force field follow from elements and bonds.
babel::Relax requestFor(const Relaxation &task) {
    babel::Relax request;
    for (const auto &[element, charge, at] : task.atoms) {
        auto &atom = request.molecule.atoms.emplace_back();
        atom.element = element;
        atom.position = {at.x, at.y, at.z};
    }
    for (const auto &bond : task.bonds) {
        const bool aromatic = bond.type == aromaticType;
        request.molecule.bonds.push_back(
            {bond.atom1, bond.atom2, aromatic ? 1 : std::max(bond.type, 1), aromatic});
    }
    request.fixed.assign(task.fixed.begin(), task.fixed.end());
    for (const auto &[a, b, c, d, value, parameter, level] : task.constraints)
        request.held.push_back({{a, b, c, d}, value});
    request.holdFactor = constraintFactor;
    request.mostSteps = mostSteps;
    request.energyLimit = energyLimit;
    return request;
}

babel::Positions relaxed(const babel::Relax &request) {
    try {
        return sharedBabel().relax(request);
    } catch (const BabelRefusal &refusal) {
        switch (refusal.failure().kind) {
        case babel::FailureKind::noForceField:
            throw Error(ErrorKind::noProgram, "Open Babel's force field UFF is missing; install "
                                              "Open Babel's data files")
                .with(Remedy::noRelaxation);
        case babel::FailureKind::noParameters:
            throw Error("the force field has no parameters for an element of the structure")
                .with(Remedy::otherRelaxation);
        default:
            throw refusal.with(Remedy::noRelaxation);
        }
    } catch (const Error &error) {
        throw error.with(Remedy::noRelaxation);
    }
}

bool areFinite(const std::vector<Position> &positions) {
    return std::all_of(positions.begin(), positions.end(), [](const Position &at) {
        return std::isfinite(at.x) && std::isfinite(at.y) && std::isfinite(at.z);
    });
}

double distance(const StructureAtom &a, const StructureAtom &b) {
    return distanceBetween(a.position, b.position);
}

double distance(const std::vector<StructureAtom> &atoms, const AtomPair &pair) {
    return distance(atoms[static_cast<std::size_t>(pair.first)],
                    atoms[static_cast<std::size_t>(pair.second)]);
}

// 0 within the range of the two lengths, else the share by which the length is off the nearer one.
double stretch(double length, double one, double other) {
    const auto [low, high] = std::minmax(one, other);
    if (length < low) return 1.0 - length / low;
    return length > high ? length / high - 1.0 : 0.0;
}

std::string inAngstrom(double length) {
    return formatted("%.2f angstrom", length);
}

// Any two on top of each other, and those that no bond holds and nothing but a bond would bring so
// near. Where one side has no coordinates, only the first.
std::set<AtomPair> nearAtoms(const std::vector<StructureAtom> &placed, const Structure &reactant,
                             const Structure &product, bool comparable) {
    std::set<AtomPair> pairs;
    for (std::size_t a = 0; a < placed.size(); ++a) {
        for (std::size_t b = a + 1; b < placed.size(); ++b) {
            if (distance(placed[a], placed[b]) < smallestDistance)
                pairs.insert({static_cast<int>(a), static_cast<int>(b)});
        }
    }
    if (!comparable) return pairs;
    const auto near = tooNearIn(positionsOf(placed), reactant, product);
    pairs.insert(near.begin(), near.end());
    return pairs;
}

SpecialDistances specialDistances(const Relaxation &task) {
    auto distances = task.hints;
    for (const auto &constraint : task.constraints) {
        if (constraint.c < 0)
            distances[orderedPair(constraint.a, constraint.b)] = {constraint.value};
    }
    return distances;
}

} // namespace

std::vector<Position> relaxByDistances(const Relaxation &task) {
    auto positions = positionsOf(task.atoms);
    fitDistances(
        positions,
        [&](std::size_t a, std::size_t b) { return distanceBetween(task.model[a], task.model[b]); },
        specialDistances(task), task.fixed);
    return positions;
}

std::vector<Position> relaxByForceField(const Relaxation &task) {
    std::vector<Position> positions;
    for (const auto &[x, y, z] : relaxed(requestFor(task)))
        positions.push_back({x, y, z});
    if (!areFinite(positions))
        throw Error(ErrorKind::program, "the force field tore the structure apart");
    for (const int atom : task.fixed) {
        const auto index = static_cast<std::size_t>(atom);
        positions[index] = task.atoms[index].position;
    }
    return positions;
}

std::vector<std::string> strainIn(const std::vector<StructureAtom> &placed,
                                  const Structure &reactant, const Structure &product) {
    std::vector<std::string> strains;
    std::map<AtomPair, int> sides;
    for (const auto *side : {&reactant, &product}) {
        for (const auto &bond : side->bonds)
            ++sides[orderedPair(bond.atom1, bond.atom2)];
    }
    const bool comparable = hasCoordinates(reactant.atoms) && hasCoordinates(product.atoms);
    for (const auto &[pair, count] : sides) {
        if (count < 2 || !comparable) continue;
        const double length = distance(placed, pair);
        if (stretch(length, distance(reactant.atoms, pair), distance(product.atoms, pair)) <=
            largestStretch)
            continue;
        strains.push_back("the bond " + bondLabel(placed, pair) + " is " + inAngstrom(length) +
                          " long");
    }
    for (const auto &pair : nearAtoms(placed, reactant, product, comparable)) {
        strains.push_back(bondLabel(placed, pair) + " are " + inAngstrom(distance(placed, pair)) +
                          " apart");
    }
    const double strain = comparable ? strainOf(positionsOf(placed), reactant, product) : 0.0;
    if (strain > bearableStrain) {
        strains.push_back(formatted("angles, torsions and contacts are strained by about %.0f "
                                    "kcal/mol",
                                    strain));
    }
    return strains;
}

} // namespace saddlefit::host
