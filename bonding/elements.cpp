#include "bonding/elements.hpp"

#include "saddlefit/bonding.h"

namespace saddlefit {

int getPeriodRow(int element) {
    constexpr int lastOfPeriod[] = {2, 10, 18, 36, 54, 86};
    int row = 0;
    for (const int last : lastOfPeriod)
        row += element > last;
    return row;
}

int getPreferedValency(int element) {
    constexpr int aboveTable = 4;
    if (element > lastInCovRad) return aboveTable;
    return element < 1 ? 0 : preferedValency[element];
}

bool isMetal(int element) {
    const auto within = [=](int first, int last) { return element >= first && element <= last; };
    return within(3, 4) || within(11, 13) || within(19, 32) || within(37, 51) || within(55, 85) ||
           element >= 87;
}

bool isHalogen(int element) {
    return element == fluorine || element == chlorine || element == bromine || element == iodine;
}

bool isLigand(int element) {
    return element == carbon || element == nitrogen || element == oxygen || element == phosphorus ||
           element == sulfur || isHalogen(element);
}

bool acceptsHydrogenBonds(int element) {
    return element == nitrogen || element == oxygen || element == sulfur;
}

} // namespace saddlefit
