#include "host/reactions/relaxation.hpp"

#include "host/reactions/distance_fit.hpp"
#include "host/structures/elements.hpp"
#include "host/system/error.hpp"

#include <openbabel/atom.h>
#include <openbabel/bond.h>
#include <openbabel/forcefield.h>
#include <openbabel/mol.h>
#include <openbabel/oberror.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace saddlefit::host {

namespace {

constexpr int mostSteps = 1000;
constexpr double energyLimit = 1e-5; // change per step at which the relaxation has converged

constexpr double constraintFactor = 1000; // of constraints, in the force field's units

constexpr double largestStretch = 0.20;  // of an unchanged bond
constexpr double smallestDistance = 0.7; // angstrom, between any two atoms

void fill(OpenBabel::OBMol &mol, const Relaxation &task) {
    mol.BeginModify();
    for (const auto &atom : task.atoms) {
        auto *added = mol.NewAtom();
        added->SetAtomicNum(atom.element);
        added->SetVector(atom.position.x, atom.position.y, atom.position.z);
    }
    for (const auto &bond : task.bonds) {
        const bool aromatic = bond.type == aromaticType;
        mol.AddBond(bond.atom1 + 1, bond.atom2 + 1, aromatic ? 1 : std::max(bond.type, 1),
                    aromatic ? OB_AROMATIC_BOND : 0);
    }
    mol.EndModify();
}

OpenBabel::OBFFConstraints constraintsOf(const Relaxation &task) {
    OpenBabel::OBFFConstraints constraints;
    constraints.SetFactor(constraintFactor);
    for (const int atom : task.fixed)
        constraints.AddAtomConstraint(atom + 1);
    for (const auto &[a, b, c, d, value, parameter, level] : task.constraints) {
        if (c < 0)
            constraints.AddDistanceConstraint(a + 1, b + 1, value);
        else if (d < 0)
            constraints.AddAngleConstraint(a + 1, b + 1, c + 1, value);
        else
            constraints.AddTorsionConstraint(a + 1, b + 1, c + 1, d + 1, value);
    }
    return constraints;
}

std::vector<Position> positionsOf(OpenBabel::OBMol &mol) {
    std::vector<Position> positions;
    for (unsigned int i = 1; i <= mol.NumAtoms(); ++i) {
        const auto *atom = mol.GetAtom(static_cast<int>(i));
        positions.push_back({atom->GetX(), atom->GetY(), atom->GetZ()});
    }
    return positions;
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

std::string label(const std::vector<StructureAtom> &atoms, std::size_t atom) {
    return atomLabel(atoms[atom].element, static_cast<int>(atom));
}

std::string labels(const std::vector<StructureAtom> &atoms, std::size_t a, std::size_t b) {
    return label(atoms, a) + "-" + label(atoms, b);
}

// 0 within the range of the two lengths, else the share by which the length is off the nearer one.
double stretch(double length, double one, double other) {
    const auto [low, high] = std::minmax(one, other);
    if (length < low) return 1.0 - length / low;
    return length > high ? length / high - 1.0 : 0.0;
}

std::string inAngstrom(double length) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f angstrom", length);
    return text;
}

SpecialDistances constrainedDistances(const Relaxation &task) {
    SpecialDistances distances;
    for (const auto &constraint : task.constraints) {
        if (constraint.c < 0) distances[orderedPair(constraint.a, constraint.b)] = constraint.value;
    }
    return distances;
}

} // namespace

std::vector<Position> relaxByDistances(const Relaxation &task) {
    std::vector<Position> positions;
    for (const auto &atom : task.atoms)
        positions.push_back(atom.position);
    fitDistances(
        positions,
        [&](std::size_t a, std::size_t b) { return distanceBetween(task.model[a], task.model[b]); },
        constrainedDistances(task), task.fixed);
    return positions;
}

std::vector<Position> relaxByForceField(const Relaxation &task) {
    auto *field = OpenBabel::OBForceField::FindForceField("UFF");
    if (field == nullptr) {
        throw Error("Open Babel's force field UFF is missing; install Open Babel's data files, "
                    "or use --relax none");
    }
    OpenBabel::obErrorLog.StopLogging();
    field->SetLogLevel(OBFF_LOGLVL_NONE);
    OpenBabel::OBMol mol;
    fill(mol, task);
    auto constraints = constraintsOf(task);
    if (!field->Setup(mol, constraints)) {
        throw Error("the force field has no parameters for an element of the structure; use "
                    "--relax xtb or --relax none");
    }
    field->ConjugateGradients(mostSteps, energyLimit);
    field->GetCoordinates(mol);
    auto positions = positionsOf(mol);
    if (!areFinite(positions)) throw Error("the force field tore the structure apart");
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
        strains.push_back("the bond " +
                          labels(placed, static_cast<std::size_t>(pair.first),
                                 static_cast<std::size_t>(pair.second)) +
                          " is " + inAngstrom(length) + " long");
    }
    for (std::size_t a = 0; a < placed.size(); ++a) {
        for (std::size_t b = a + 1; b < placed.size(); ++b) {
            const double length = distance(placed[a], placed[b]);
            if (length >= smallestDistance) continue;
            strains.push_back(labels(placed, a, b) + " are " + inAngstrom(length) + " apart");
        }
    }
    return strains;
}

} // namespace saddlefit::host
