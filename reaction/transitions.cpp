#include "saddlefit/bonding.h"
#include "saddlefit/reaction.h"

#include "molecule/memory.hpp"
#include "molecule/ranges.hpp"

#include <array>
#include <cstddef>

namespace {

using namespace saddlefit;

/// What a step of order does to a bond: the type whose length is the step's far end, and the type
/// that the bond has half-way.
struct OrderStep {
    int stepType, resultType;
};

/// By the type that the bond has; any other type loses its order.
constexpr std::array<OrderStep, 6> fallingSteps = {
    {{0, 0}, {0, 0}, {1, 5}, {2, 2}, {3, 3}, {0, 1}}};
constexpr std::array<OrderStep, 6> risingSteps = {{{0, 0}, {2, 5}, {3, 2}, {4, 3}, {5, 4}, {2, 2}}};

OrderStep stepFrom(const std::array<OrderStep, 6> &steps, int type) {
    const auto place = static_cast<std::size_t>(type);
    return place < steps.size() ? steps[place] : OrderStep{0, 0};
}

constexpr OrderStep forming = {1, 0};

void appendDistance(Molecule &mol, const Bond &bond, double value) {
    if (!resizeArray(mol.constraints, static_cast<std::size_t>(mol.constraintCount) + 1)) return;
    mol.constraints[mol.constraintCount++] = {bond.atom1, bond.atom2, -1, -1, value, 0.0, 0};
}

/// Constrain a bond half-way between its lengths before and after the step, and set its order.
void takeStep(Molecule &mol, Bond &bond, OrderStep step) {
    const double before = bondLengthGuess(&mol, &bond);
    bond.type = step.stepType;
    const double after = bondLengthGuess(&mol, &bond);
    appendDistance(mol, bond, (before + after) * 0.5);
    bond.type = step.resultType;
}

void lowerBond(Molecule &mol, int a, int b) {
    if (!hasAtom(mol, a) || !hasAtom(mol, b)) return;
    if (Bond *bond = getBond(&mol, a, b)) takeStep(mol, *bond, stepFrom(fallingSteps, bond->type));
}

void raiseBond(Molecule &mol, int a, int b) {
    if (!hasAtom(mol, a) || !hasAtom(mol, b)) return;
    if (Bond *bond = getBond(&mol, a, b)) {
        takeStep(mol, *bond, stepFrom(risingSteps, bond->type));
        return;
    }
    const int position = mol.bondCount;
    addBond(&mol, a, b, 0);
    if (mol.bondCount > position) takeStep(mol, *mol.bonds[position], forming);
}

} // namespace

int applyTransition(Molecule *mol) {
    // Bonds come and change type below; an index would have to follow.
    freeBondlink(mol);
    releaseBlock(mol->constraints);
    mol->constraintCount = 0;
    for (const auto &[breakA, breakB, formA, formB] : transitionsOf(*mol)) {
        lowerBond(*mol, breakA, breakB);
        raiseBond(*mol, formA, formB);
    }
    createBondlink(mol);
    return 1;
}
