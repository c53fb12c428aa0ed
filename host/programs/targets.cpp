#include "host/programs/targets.hpp"

#include "host/programs/program_inputs.hpp"
#include "host/structures/vectors.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace saddlefit::host {

namespace {

constexpr double degree = std::numbers::pi / 180.0;

// Sweeps over all constraints, until none is off by more than this (angstrom or radians).
constexpr int mostSweeps = 2000;
constexpr double closeEnough = 1e-6;

// Farther away an atom leaves the structure that was given: lasting bonds break.
constexpr double farthestMove = 0.5; // angstrom

// A sweep moves each constraint by at most this (angstrom or radians), so that an atom goes round
// another one rather than through it.
constexpr double longestStride = 0.1;

constexpr double differenceStep = 1e-5; // angstrom

double dihedralOf(const Position &first, const Position &axis, const Position &last) {
    const auto before = cross(first, axis);
    const auto behind = cross(axis, last);
    return std::atan2(lengthOf(axis) * dot(first, behind), dot(before, behind));
}

// In angstrom or radians, so that a deviation weighs about as much in either.
double naturalDeviation(const Constraint &constraint, const std::vector<StructureAtom> &atoms) {
    const double deviation = deviationOf(constraint, atoms);
    return constraint.c < 0 ? deviation : deviation * degree;
}

struct Slope {
    double *coordinate;
    double value;
};

std::vector<Slope> slopesOf(const Constraint &constraint, std::vector<StructureAtom> &atoms,
                            const std::vector<int> &fixed) {
    std::vector<Slope> slopes;
    for (const int atom : atomsOf(constraint)) {
        if (std::binary_search(fixed.begin(), fixed.end(), atom)) continue;
        auto &at = atoms[static_cast<std::size_t>(atom)].position;
        for (double *coordinate : {&at.x, &at.y, &at.z}) {
            const double here = *coordinate;
            *coordinate = here + differenceStep;
            const double above = naturalDeviation(constraint, atoms);
            *coordinate = here - differenceStep;
            const double below = naturalDeviation(constraint, atoms);
            *coordinate = here;
            slopes.push_back({coordinate, (above - below) / (2.0 * differenceStep)});
        }
    }
    return slopes;
}

// Along the gradient, to where the deviation is gone. Gives what it was.
double correct(const Constraint &constraint, std::vector<StructureAtom> &atoms,
               const std::vector<int> &fixed) {
    const double deviation = naturalDeviation(constraint, atoms);
    const auto slopes = slopesOf(constraint, atoms, fixed);
    double squared = 0.0;
    for (const auto &slope : slopes)
        squared += slope.value * slope.value;
    if (squared < closeEnough) return deviation; // atoms in one place or line: no way to go
    const double stride = std::clamp(deviation, -longestStride, longestStride);
    for (const auto &slope : slopes)
        *slope.coordinate -= stride * slope.value / squared;
    return deviation;
}

bool staysNear(const std::vector<StructureAtom> &atoms, const std::vector<StructureAtom> &given) {
    return std::equal(atoms.begin(), atoms.end(), given.begin(),
                      [](const StructureAtom &one, const StructureAtom &other) {
                          return distanceBetween(one.position, other.position) <= farthestMove;
                      });
}

} // namespace

double valueOf(const Constraint &constraint, const std::vector<StructureAtom> &atoms) {
    const auto at = [&](int atom) { return atoms[static_cast<std::size_t>(atom)].position; };
    const auto &[a, b, c, d, value, parameter, level] = constraint;
    const auto back = between(at(b), at(a));
    if (c < 0) return lengthOf(back);
    const auto ahead = between(at(b), at(c));
    if (d < 0) return std::atan2(lengthOf(cross(back, ahead)), dot(back, ahead)) / degree;
    return dihedralOf(between(at(a), at(b)), ahead, between(at(c), at(d))) / degree;
}

double deviationOf(const Constraint &constraint, const std::vector<StructureAtom> &atoms) {
    const double deviation = valueOf(constraint, atoms) - constraint.value;
    const bool isDihedral = constraint.c >= 0 && constraint.d >= 0;
    return isDihedral ? std::remainder(deviation, 360.0) : deviation;
}

bool areOnTarget(const std::vector<StructureAtom> &atoms,
                 const std::vector<Constraint> &constraints) {
    constexpr double rounding = 1e-5; // angstrom or radians
    return std::all_of(constraints.begin(), constraints.end(), [&](const Constraint &one) {
        return std::abs(naturalDeviation(one, atoms)) < rounding;
    });
}

std::vector<StructureAtom> atomsOnTarget(const ConstrainedMolecule &molecule) {
    auto atoms = molecule.atoms;
    auto fixed = molecule.fixed;
    std::sort(fixed.begin(), fixed.end());
    for (int sweep = 0; sweep < mostSweeps; ++sweep) {
        double worst = 0.0;
        for (const auto &constraint : molecule.constraints)
            worst = std::max(worst, std::abs(correct(constraint, atoms, fixed)));
        if (worst < closeEnough) return staysNear(atoms, molecule.atoms) ? atoms : molecule.atoms;
    }
    return molecule.atoms;
}

} // namespace saddlefit::host
