#pragma once

#include "host/saddle/energy.hpp"
#include "host/structures/structure.hpp"

#include <set>
#include <vector>

namespace saddlefit::host {

/// Which atoms are bonded, without orders.
using BondGraph = std::set<AtomPair>;

/// By covalent radii: a bond is shorter than 1.25 times their sum, between two hydrogens shorter
/// than 0.95 angstrom (semi-empirical methods make H2 longer than the rule has it).
BondGraph bondGraph(const Species &species, const Eigen::VectorXd &coordinates);

/// The bonds that a reaction makes and breaks, by ascending atoms.
struct BondsChanged {
    std::vector<AtomPair> made;
    std::vector<AtomPair> broken;
    bool none() const { return made.empty() && broken.empty(); }
};
BondsChanged bondsChanged(const BondGraph &reactant, const BondGraph &product);

/// How far a structure has come: the lengths of broken bonds less those of made ones, bohr.
double progressOf(const BondsChanged &bonds, const Eigen::VectorXd &coordinates);

/// The gradient of progressOf, normalised; all zero where no bond changes.
Eigen::VectorXd progressDirection(const BondsChanged &bonds, const Eigen::VectorXd &coordinates);

/// How much of a displacement (of length 1) changes the lengths of these bonds, 0 to 1: the length
/// of its projection on the space of their gradients.
double shareInBonds(const BondsChanged &bonds, const Eigen::VectorXd &coordinates,
                    const Eigen::VectorXd &displacement);

} // namespace saddlefit::host
