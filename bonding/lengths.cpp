#include "saddlefit/bonding.h"

#include "bonding/elements.hpp"
#include "molecule/ranges.hpp"

#include <algorithm>
#include <cstddef>

namespace {

using namespace saddlefit;

/// Element 0 takes hydrogen's row.
int rowOf(int element) {
    return std::max(element, hydrogen) - 1;
}

double tabulatedLength(int heavier, int lighter) {
    if (heavier >= lastInBondLength) return 0.0;
    const auto row = static_cast<std::size_t>(heavier);
    return bondLength[row * (row + 1) / 2 + static_cast<std::size_t>(lighter)];
}

double periodLength(int heavier, int lighter) {
    return defaultBondLengths[getPeriodRow(heavier + 1) * 7 + getPeriodRow(lighter + 1)];
}

double orderFactor(int type) {
    switch (type) {
    case 2:
        return doubleFactor;
    case 3:
        return tripleFactor;
    case 4:
        return quadrupleFactor;
    case 5:
        return aromaticFactor;
    default:
        return 1.0;
    }
}

} // namespace

double bondLengthGuess(Molecule *mol, Bond *bond) {
    const int row1 = rowOf(elementOf(*mol, bond->atom1));
    const int row2 = rowOf(elementOf(*mol, bond->atom2));
    const int heavier = std::max(row1, row2);
    const int lighter = std::min(row1, row2);

    double length = tabulatedLength(heavier, lighter);
    if (length == 0.0) length = periodLength(heavier, lighter);
    return length * orderFactor(bond->type);
}
