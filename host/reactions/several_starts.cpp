#include "host/reactions/several_starts.hpp"

#include "host/reactions/bond_paths.hpp"
#include "host/reactions/contacts.hpp"
#include "host/reactions/rigid_move.hpp"
#include "host/reactions/strain.hpp"

#include <algorithm>
#include <optional>
#include <tuple>

namespace saddlefit::host {

namespace {

constexpr double betweenFactor = 10; // of distances around the centre, where a side is the model
constexpr int mostPushes = 8;
constexpr double pushFactor = 30;
constexpr double pushedContact = 0.6, pushedDistance = 1.6; // sum of radii; angstrom

std::size_t index(int atom) {
    return static_cast<std::size_t>(atom);
}

/// The centre and what is bonded to it on either side.
std::vector<int> withNeighbours(std::span<const int> centre, const Structure &reactant,
                                const Structure &product) {
    std::vector<bool> taken(reactant.atoms.size());
    for (const int atom : centre)
        taken[index(atom)] = true;
    const auto inner = taken;
    for (const auto *side : {&reactant, &product}) {
        for (const auto &bond : side->bonds) {
            if (inner[index(bond.atom1)]) taken[index(bond.atom2)] = true;
            if (inner[index(bond.atom2)]) taken[index(bond.atom1)] = true;
        }
    }
    std::vector<int> atoms;
    for (std::size_t i = 0; i < taken.size(); ++i)
        if (taken[i]) atoms.push_back(static_cast<int>(i));
    return atoms;
}

class Starts {
public:
    Starts(const Relaxation &task, const Structure &reactant, const Structure &product,
           std::span<const int> centre)
        : task_(task), reactant_(reactant), product_(product), centre_(centre) {}

    std::vector<Position> best() {
        consider(relaxByDistances(task_));
        if (!isStrained()) return best_;
        for (const auto *side : {&reactant_, &product_}) {
            consider(relaxByDistances(startingLike(*side)));
            auto between = startingLike(*side);
            addCentreBetween(between);
            consider(relaxByDistances(between));
        }
        pushApart();
        return best_;
    }

private:
    bool isStrained() const {
        const auto &[near, strain] = *rank_;
        return near > 0 || strain > bearableStrain;
    }

    void consider(const std::vector<Position> &positions) {
        const std::pair rank(tooNearIn(positions, reactant_, product_).size(),
                             strainOf(positions, reactant_, product_));
        if (rank_ && *rank_ <= rank) return;
        rank_ = rank;
        best_ = positions;
    }

    /// The side as the model, laid upon the atoms that are placed.
    Relaxation startingLike(const Structure &side) const {
        auto task = task_;
        task.model = positionsOf(side.atoms);
        std::vector<Eigen::Vector3d> from, to;
        const std::span<const int> placed = task.fixed.empty() ? centre_ : std::span(task.fixed);
        for (const int atom : placed) {
            from.push_back(vectorOf(task.model[index(atom)]));
            to.push_back(vectorOf(task_.atoms[index(atom)].position));
        }
        const auto move = nearestMove(from, to, std::vector<double>(from.size(), 1.0));
        for (std::size_t i = 0; i < task.atoms.size(); ++i)
            task.atoms[i].position = positionOf(move * vectorOf(task.model[i]));
        for (const int atom : task.fixed)
            task.atoms[index(atom)].position = task_.atoms[index(atom)].position;
        return task;
    }

    void addCentreBetween(Relaxation &task) const {
        const auto region = withNeighbours(centre_, reactant_, product_);
        for (const int a : region) {
            for (const int b : region) {
                if (a >= b) continue;
                const double distance =
                    distanceBetween(task_.model[index(a)], task_.model[index(b)]);
                task.hints.try_emplace({a, b}, SpecialDistance{distance, betweenFactor});
            }
        }
    }

    void pushApart() {
        auto task = task_;
        for (int push = 0; push < mostPushes; ++push) {
            const auto near = tooNearIn(best_, reactant_, product_);
            if (near.empty()) return;
            for (const auto &[a, b] : near) {
                const double sum =
                    contactDistance(task.atoms[index(a)].element, task.atoms[index(b)].element);
                task.hints[{a, b}] = {std::max(pushedContact * sum, pushedDistance), pushFactor};
            }
            task.model = best_;
            setPositions(task.atoms, best_);
            consider(relaxByDistances(task));
        }
    }

    const Relaxation &task_;
    const Structure &reactant_, &product_;
    std::span<const int> centre_;
    std::vector<Position> best_;
    std::optional<std::pair<std::size_t, double>> rank_;
};

} // namespace

std::vector<Position> relaxFromSeveralStarts(const Relaxation &task, const Structure &reactant,
                                             const Structure &product,
                                             std::span<const int> centre) {
    return Starts(task, reactant, product, centre).best();
}

} // namespace saddlefit::host
