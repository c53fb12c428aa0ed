#pragma once

#include "host/saddle/bond_graph.hpp"

#include <map>
#include <optional>
#include <vector>

namespace saddlefit::collection {

using namespace saddlefit::host;

/// Bond orders by atoms; no entry for no bond.
using BondOrders = std::map<AtomPair, int>;

/// What an atom can be: so many bonds (in units of order) with such a formal charge. The cost ranks
/// drawings of the same molecule.
struct ValenceState {
    int valence = 0;
    int charge = 0;
    int cost = 0;
};

/// The states of an element in closed-shell molecules; empty for one that the collection leaves
/// out.
const std::vector<ValenceState> &valenceStates(int element);

/// One way to draw a molecule.
struct LewisStructure {
    BondOrders orders;
    std::vector<int> charges; ///< formal ones, per atom
    int cost = 0;
    int carbenes = 0;   ///< carbon or silicon with two bonds and no charge
    int carbanions = 0; ///< but for the ends of carbon monoxide and isocyanides
};

/// What these orders make of the atoms; nothing where an atom has no such state, or the formal
/// charges do not add up to the species' own.
std::optional<LewisStructure> drawn(const Species &species, const BondOrders &orders);

/// The drawings of a bond graph with the lowest cost, `most` of them at most; none if it has atoms
/// that are bare or bonded too often.
std::vector<LewisStructure> lewisStructures(const Species &species, const BondGraph &bonds,
                                            std::size_t most = 24);

/// Drawings of both sides that differ in as few orders as can be.
struct DrawnReaction {
    LewisStructure reactant;
    LewisStructure product;
};
std::optional<DrawnReaction> drawnReaction(const Species &species, const BondGraph &reactant,
                                           const BondGraph &product);

/// At most one carbene or carbanion, and no more opposite charges than one pair of atoms that
/// share a dipole have.
bool isOrdinary(const LewisStructure &structure, int charge);

BondGraph graphOf(const BondOrders &orders);

/// The atoms of each molecule, in the order of their first atoms.
std::vector<std::vector<int>> fragmentsOf(std::size_t atoms, const BondGraph &bonds);

} // namespace saddlefit::collection
