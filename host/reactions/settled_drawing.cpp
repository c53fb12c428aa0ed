#include "host/reactions/settled_drawing.hpp"

#include "host/reactions/drawing.hpp"
#include "host/reactions/transitions.hpp"
#include "host/structures/aromaticity.hpp"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <utility>

namespace saddlefit::host {

namespace {

constexpr std::size_t longestPath = 12; // bonds
constexpr int mostSteps = 100'000;      // of one search; large sheets of rings have many paths

/// What a shift saves: half steps of bond orders first, then differences of formal charges.
using Saving = std::pair<int, int>;

/// A path of bonds that rise and fall in turn, or a ring of them.
struct Shift {
    std::vector<int> atoms; ///< the first one again at the end of a ring
    int firstStep = 0;      ///< of the first bond, +1 or -1
    int charge = 0;         ///< that the last atom of a path hands to the first
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
                grow(step, 0);
            }
        }
        return best_;
    }

private:
    void grow(int step, int saved) {
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
            shift_.atoms.push_back(next);
            if (closes)
                noteRing(step, sum);
            else
                notePath(step, sum);
            if (!closes) grow(-step, sum);
            shift_.atoms.pop_back();
        }
    }

    int savedBy(const AtomPair &bond, int type, int step) const {
        const auto found = wanted_.find(bond);
        const int wanted = found == wanted_.end() ? 0 : halfOrders(found->second);
        return std::abs(2 * type - wanted) - std::abs(2 * (type + step) - wanted);
    }

    void noteRing(int lastStep, int sum) {
        if (lastStep != shift_.firstStep) note({sum, 0}, 0); // else an atom would gain an order
    }

    void notePath(int lastStep, int sum) {
        const int first = shift_.atoms.front(), last = shift_.atoms.back();
        const int before = burdenOf(first, 0, 0) + burdenOf(last, 0, 0);
        for (const int charge : {0, 1, -1}) {
            const int one = burdenOf(first, shift_.firstStep, charge);
            const int other = burdenOf(last, lastStep, -charge);
            if (one < 0 || other < 0 || one + other > before) continue;
            note({sum, chargesSaved(first, charge) + chargesSaved(last, -charge)}, charge);
        }
    }

    /// Charge and open valences of an atom whose bonds rise and whose charge changes so; -1 where
    /// it cannot be.
    int burdenOf(int atom, int step, int charge) const {
        const auto valence = usualValence(side_.atoms[index(atom)].element);
        const int formal = side_.atoms[index(atom)].charge + charge;
        const int left = valenceLeft(side_, atom, charge) - step;
        return valence == 0 || left < 0 ? -1 : left + std::abs(formal);
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
