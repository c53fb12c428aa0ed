#include "host/reactions/settled_drawing.hpp"

#include "saddlefit/bonding.h"

#include "host/reactions/drawing.hpp"
#include "host/reactions/transitions.hpp"
#include "host/structures/aromaticity.hpp"
#include "host/structures/host_molecule.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <optional>
#include <utility>

namespace saddlefit::host {

namespace {

constexpr std::size_t longestPath = 12; // bonds
constexpr double mostMisfit = 0.03;     // angstrom per bond, by which a shift may fit worse
constexpr int mostSteps = 100'000;      // of one search; large sheets of rings have many paths

/// What a shift saves: half steps of bond orders first, then differences of formal charges.
using Saving = std::pair<int, int>;

/// A path of bonds that rise and fall in turn, or a ring of them.
struct Shift {
    std::vector<int> atoms; ///< the first one again at the end of a ring
    int firstStep = 0;      ///< of the first bond, +1 or -1
    int charge = 0;         ///< that the last atom of a path hands to the first
};

/// What makes a drawing worse.
struct Burden {
    int openValences = 0;
    int charges = 0;
    bool isLegal = true;

    Burden operator+(const Burden &other) const {
        return {openValences + other.openValences, charges + other.charges,
                isLegal && other.isLegal};
    }
    bool operator<=(const Burden &other) const {
        return openValences <= other.openValences && charges <= other.charges;
    }
};

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

/// Looks for the shift of a side that brings it nearest to the other.
class ShiftSearch {
public:
    ShiftSearch(const Structure &side, const Structure &other)
        : side_(side), other_(other), neighbours_(side.atoms.size()) {
        for (const auto &bond : side.bonds) {
            types_[orderedPair(bond.atom1, bond.atom2)] = bond.type;
            neighbours_[index(bond.atom1)].push_back(bond.atom2);
            neighbours_[index(bond.atom2)].push_back(bond.atom1);
        }
        for (const auto &bond : other.bonds)
            wanted_[orderedPair(bond.atom1, bond.atom2)] = bond.type;
    }

    /// Nothing where none saves anything.
    std::optional<Shift> best() {
        for (int atom = 0; atom < static_cast<int>(side_.atoms.size()); ++atom) {
            for (const int step : {1, -1}) {
                shift_ = {{atom}, step, 0};
                grow(step, 0, 0.0);
            }
        }
        return best_;
    }

private:
    void grow(int step, int saved, double misfit) {
        if (shift_.atoms.size() > longestPath) return;
        for (const int next : neighbours_[index(shift_.atoms.back())]) {
            if (++steps_ > mostSteps) return;
            const auto bond = orderedPair(shift_.atoms.back(), next);
            const int type = types_.at(bond);
            if (type + step < 1 || type + step > 3 || type == aromaticType) continue;
            const bool closes = next == shift_.atoms.front() && shift_.atoms.size() > 2;
            const auto &path = shift_.atoms;
            if (!closes && std::find(path.begin(), path.end(), next) != path.end()) continue;
            const int sum = saved + savedBy(bond, type, step);
            const double worse = misfit + misfitOf(bond, type + step) - misfitOf(bond, type);
            shift_.atoms.push_back(next);
            if (worse <= mostMisfit * static_cast<double>(shift_.atoms.size() - 1)) {
                if (closes)
                    noteRing(step, sum);
                else
                    notePath(step, sum);
            }
            if (!closes) grow(-step, sum, worse);
            shift_.atoms.pop_back();
        }
    }

    int savedBy(const AtomPair &bond, int type, int step) const {
        const auto found = wanted_.find(bond);
        const int wanted = found == wanted_.end() ? 0 : halfOrders(found->second);
        return std::abs(2 * type - wanted) - std::abs(2 * (type + step) - wanted);
    }

    /// How far the bond's length is from that of its elements and type, angstrom.
    double misfitOf(const AtomPair &bond, int type) {
        const auto &a = side_.atoms[index(bond.first)], &b = side_.atoms[index(bond.second)];
        auto &usual = usualLengths_[{a.element, b.element, type}];
        if (usual == 0.0) {
            const auto pair =
                hostMolecule({{a.element, 0, {}}, {b.element, 0, {}}}, {{0, 1, type}});
            usual = bondLengthGuess(pair.get(), pair->bonds[0]);
        }
        return std::abs(distanceBetween(a.position, b.position) - usual);
    }

    void noteRing(int lastStep, int sum) {
        if (lastStep != shift_.firstStep) note({sum, 0}, 0); // else an atom would gain an order
    }

    void notePath(int lastStep, int sum) {
        const int first = shift_.atoms.front(), last = shift_.atoms.back();
        const auto before = burdenOf(first, 0, 0) + burdenOf(last, 0, 0);
        for (const int charge : {0, 1, -1}) {
            const auto one = burdenOf(first, shift_.firstStep, charge);
            const auto other = burdenOf(last, lastStep, -charge);
            if (!one.isLegal || !other.isLegal || !(one + other <= before)) continue;
            note({sum, chargesSaved(first, charge) + chargesSaved(last, -charge)}, charge);
        }
    }

    /// Of an atom whose bonds rise and whose charge changes so.
    Burden burdenOf(int atom, int step, int charge) const {
        constexpr int carbon = 6;
        const auto &[element, formal, position] = side_.atoms[index(atom)];
        const int total = formal + charge;
        const int left = valenceLeft(side_, atom, charge) - step;
        const int lacking = element == carbon ? std::max(total, 0) : 0; // a cation's octet
        return {left + lacking, std::abs(total), usualValence(element) > 0 && left >= 0};
    }

    int chargesSaved(int atom, int charge) const {
        const int now = side_.atoms[index(atom)].charge, wanted = other_.atoms[index(atom)].charge;
        return std::abs(now - wanted) - std::abs(now + charge - wanted);
    }

    void note(const Saving &saving, int charge) {
        if (saving <= saving_) return;
        saving_ = saving;
        best_ = shift_;
        best_->charge = charge;
    }

    const Structure &side_, &other_;
    std::vector<std::vector<int>> neighbours_;
    std::map<AtomPair, int> types_, wanted_;
    std::map<std::array<int, 3>, double> usualLengths_; // by elements and type
    Shift shift_;
    int steps_ = 0;
    Saving saving_{0, 0};
    std::optional<Shift> best_;
};

void apply(const Shift &shift, Structure &side) {
    int step = shift.firstStep;
    for (std::size_t i = 0; i + 1 < shift.atoms.size(); ++i, step = -step) {
        const auto atoms = orderedPair(shift.atoms[i], shift.atoms[i + 1]);
        for (auto &bond : side.bonds)
            if (orderedPair(bond.atom1, bond.atom2) == atoms) bond.type += step;
    }
    side.atoms[index(shift.atoms.front())].charge += shift.charge;
    side.atoms[index(shift.atoms.back())].charge -= shift.charge;
}

/// Whether anything could be shifted.
bool settle(Structure &side, const Structure &other) {
    if (side.namesBonds) return false;
    bool hasShifted = false;
    while (const auto shift = ShiftSearch(side, other).best()) {
        apply(*shift, side);
        hasShifted = true;
    }
    if (hasShifted) {
        const std::vector<int> noHydrogens(side.atoms.size(), 0);
        side.aromaticRings = aromaticRings(side.atoms, side.bonds, noHydrogens);
    }
    return hasShifted;
}

} // namespace

void settleDrawings(Structure &reactant, Structure &product) {
    while (settle(product, reactant) || settle(reactant, product))
        continue;
}

} // namespace saddlefit::host
