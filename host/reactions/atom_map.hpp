#pragma once

#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// How far the search for atom maps goes.
struct AtomMapLimits {
    int bonds = 8;         ///< broken and formed together, at most
    double seconds = 20.0; ///< for one reaction
};

/// Which atom of the product each atom of the reactant becomes.
struct AtomMap {
    std::vector<int> productAtoms; ///< per atom of the reactant
    int inverted = 0;    ///< centres and double bonds that do not keep their configuration
    int orderSteps = 0;  ///< of the bonds that stay, Kekule forms put aside
    double misfit = 0.0; ///< root mean square after superposition, angstrom
};

enum class MapOutcome {
    found,
    unchanged,      ///< the sides are the same molecules, so any map makes no reaction of them
    differentAtoms, ///< the sides have not the same elements
    tooManyBonds,   ///< more are broken and formed than the limit
    outOfTime
};

/// The maps with the fewest bonds broken and formed, one for each different reaction, best first.
struct AtomMapSearch {
    MapOutcome outcome = MapOutcome::differentAtoms;
    int broken = 0; ///< bonds, whatever their order
    int formed = 0;
    std::vector<AtomMap> maps; ///< those found; for MapOutcome::unchanged one of the identities
};

/// Find which atoms correspond so that the fewest bonds are broken and formed: k bonds of one side
/// and m of the other are left out, in rising number, until the rests are the same graph.
///
/// A bond counts once, whatever its order. Atoms that the reaction cannot tell apart, equivalent
/// hydrogens above all, correspond so that configurations are kept, then that the fewest bonds
/// change their order, then that the superposed geometries differ least. The maps stand with those
/// first that keep configurations, then by misfit.
///
/// Map numbers (`mapNumbers`, 0 for an atom without one) that occur once on each side are kept.
AtomMapSearch mapAtoms(const Structure &reactant, const Structure &product,
                       const AtomMapLimits &limits = {});

/// Bonds, whatever their order, that only one of the sides has, where atoms correspond as given.
int bondsBrokenAndFormed(const Structure &reactant, const Structure &product,
                         const std::vector<int> &productAtoms);

} // namespace saddlefit::host
