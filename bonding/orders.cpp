#include "saddlefit/bonding.h"

#include "bonding/elements.hpp"
#include "molecule/ranges.hpp"

#include <cmath>

namespace {

using namespace saddlefit;

/// Modes of bondTypeGuess() from which on metal and hydrogen bonds are marked.
constexpr int markingMode = 2;

// Polarity correction c * |dX|^n + offset, in angstrom.
constexpr double polarity = 0.085;
constexpr double polarityHydrogen = 0.05;
constexpr double polarityExponent = 1.4;
constexpr double polarityOffset = 0.008;

// What bonds of order 1.5, 2 and 3 are shorter than a single bond, in angstrom.
constexpr double shortening15 = 0.15;
constexpr double shortening20 = 0.2;
constexpr double shortening30 = 0.34;

// Multiples of the single-bond length up to which atoms count as bonded.
constexpr double reachWithoutValency = 0.9;
constexpr double reachMonovalent = 1.15;
constexpr double reachMetalPair = 1.1;
constexpr double reachOrdinary = 1.3;

// Parts of the summed van der Waals radii within which unbonded atoms are in contact.
constexpr double hydrogenBondReach = 0.7;
constexpr double metalContactReach = 0.9;

/// The two atoms as the rules see them.
struct Pair {
    int z1, z2;
    double distance;

    bool either(int element) const { return z1 == element || z2 == element; }
    bool both(int element) const { return z1 == element && z2 == element; }
    bool eitherHalogen() const { return isHalogen(z1) || isHalogen(z2); }
    bool eitherPrefers(int valency) const {
        return getPreferedValency(z1) == valency || getPreferedValency(z2) == valency;
    }
    bool heavyMonovalent() const {
        const auto applies = [](int z) { return z != hydrogen && getPreferedValency(z) == 1; };
        return applies(z1) || applies(z2);
    }
    bool metalPair() const { return z1 == z2 && isMetal(z1); }
    bool metalAndLigand() const {
        return (isMetal(z1) && isLigand(z2)) || (isLigand(z1) && isMetal(z2));
    }
    bool hydrogenAndAcceptor() const {
        return (z1 == hydrogen && acceptsHydrogenBonds(z2)) ||
               (acceptsHydrogenBonds(z1) && z2 == hydrogen);
    }
    /// C-C, C-N or N-C, the pairs of aromatic rings.
    bool carbonWithCarbonOrNitrogen() const {
        return both(carbon) || (z1 == carbon && z2 == nitrogen) || (z1 == nitrogen && z2 == carbon);
    }
    bool within(double part) const {
        if (z1 > lastInVdwrad || z2 > lastInVdwrad) return false;
        return distance < (vdwrad[z1] + vdwrad[z2]) * part;
    }
};

/// Lengths of the pair's bonds of order 1, 1.5, 2 and 3, and where the order changes.
struct Lengths {
    double single, l15, l20, l34, t12, t23;
};

Lengths expectedLengths(const Pair &pair) {
    const double radii = covRad[pair.z1] + covRad[pair.z2];
    const double c = pair.either(hydrogen) ? polarityHydrogen : polarity;
    const double difference = std::fabs(eneg[pair.z1] - eneg[pair.z2]);
    const double correction = c * std::pow(difference, polarityExponent) + polarityOffset;

    Lengths lengths{};
    lengths.single = radii - correction;
    lengths.l15 = radii - shortening15 - correction;
    lengths.l20 = radii - shortening20 - correction;
    lengths.l34 = radii - shortening30 - correction;
    lengths.t12 = (lengths.single + lengths.l20) / 2;
    if (pair.either(oxygen)) lengths.t12 = lengths.single - (lengths.single - lengths.l15) * 0.25;
    lengths.t23 = (lengths.l34 + lengths.l20) / 2;
    return lengths;
}

int orderByLength(const Pair &pair, const Lengths &lengths) {
    if (pair.distance < lengths.t23) return 3;
    return pair.distance >= lengths.t12 ? 1 : 2;
}

/// Carbon with carbon or nitrogen is never given order 3; between double and single lies the
/// aromatic range.
int orderOfCarbonPair(const Pair &pair, const Lengths &lengths, int mode) {
    const double range = lengths.single - lengths.l15;
    const double singleFrom =
        mode == 0 ? (lengths.l15 + lengths.single) / 2 : lengths.single - range * 0.1;
    if (pair.distance < (lengths.l15 + lengths.l20) / 2) return 2;
    if (pair.distance >= singleFrom) return 1;
    if (mode != 0) return aromaticCandidate;
    return pair.distance >= lengths.t12 ? 1 : 2;
}

/// How far the pair's bond may reach, and the mark that a bond within that reach is given
/// whatever its order; 0 for none.
struct Reach {
    double factor;
    int mark;
};

Reach bondingReach(const Pair &pair, int mode) {
    if (pair.eitherPrefers(0)) return {reachWithoutValency, 0};
    if (pair.heavyMonovalent()) return {reachMonovalent, 0};
    if (pair.metalPair()) return {reachMetalPair, 0};
    if (mode >= markingMode && pair.metalAndLigand()) return {reachOrdinary, metalBond};
    return {reachOrdinary, 0};
}

int bondedType(const Pair &pair, int order, int mark) {
    if (pair.either(hydrogen)) order = 1;
    if (pair.both(sulfur)) order = 1;
    if (mark != 0) return mark;
    return order > 1 && pair.eitherHalogen() ? 1 : order;
}

int contactType(const Pair &pair, int mode) {
    if (mode < markingMode) return 0;
    if (pair.hydrogenAndAcceptor()) return pair.within(hydrogenBondReach) ? hydrogenBond : 0;
    if (pair.metalAndLigand()) return pair.within(metalContactReach) ? metalContact : 0;
    return 0;
}

bool inTables(int element) {
    return element > 0 && element <= lastInCovRad;
}

} // namespace

int bondTypeGuess(Molecule *mol, Bond *bond, int mode) {
    const int z1 = elementOf(*mol, bond->atom1);
    const int z2 = elementOf(*mol, bond->atom2);
    if (!inTables(z1) || !inTables(z2)) return 0;

    const Atom &p = mol->atoms[bond->atom1];
    const Atom &q = mol->atoms[bond->atom2];
    const double dx = p.x - q.x, dy = p.y - q.y, dz = p.z - q.z;
    const double squared = dx * dx + dy * dy + dz * dz;
    if (!(squared > 0)) return 1;

    const Pair pair{z1, z2, std::sqrt(squared)};
    const Lengths lengths = expectedLengths(pair);
    const int order = pair.carbonWithCarbonOrNitrogen() ? orderOfCarbonPair(pair, lengths, mode)
                                                        : orderByLength(pair, lengths);
    const Reach reach = bondingReach(pair, mode);
    if (pair.distance <= reach.factor * lengths.single) return bondedType(pair, order, reach.mark);
    return contactType(pair, mode);
}
