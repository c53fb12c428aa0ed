#pragma once

#include "collection/proposals.hpp"
#include "collection/random.hpp"

namespace saddlefit::collection {

/// A molecule, or several, as Open Babel reads it from SMILES, with all hydrogens.
struct Molecule3D {
    Species species;
    LewisStructure drawing;
    std::vector<int> mapNumbers; ///< 0 for none
    Eigen::VectorXd coordinates; ///< bohr; empty if not embedded
};
enum class Embedding { none, threeDimensions };

/// Throws Error.
Molecule3D moleculeFrom(const std::string &smiles,
                        Embedding embedding = Embedding::threeDimensions);

/// The SMILES of a drawing, canonical.
std::string smilesOf(const Species &species, const LewisStructure &drawing);

/// Relaxed by the force field (UFF) with these bonds. Throws Error.
Eigen::VectorXd relaxedByForceField(const Species &species, const BondOrders &orders,
                                    const Eigen::VectorXd &coordinates);

/// Conformers by turns about single bonds, not relaxed; the first is the geometry itself.
std::vector<Eigen::VectorXd> turned(const Molecule3D &molecule, std::size_t count,
                                    std::uint64_t seed);

/// Between two geometries of the sides of a reaction, with the changing bonds at the lengths that
/// they have in transition states: 1.33 times the sum of covalent radii, 1.29 times with hydrogen,
/// 0.95 angstrom between two hydrogens.
Eigen::VectorXd fittedStart(const Species &species, const Proposal &proposal,
                            const Eigen::VectorXd &reactant, const Eigen::VectorXd &product);

/// The same for molecules that have to be brought together: each keeps its own shape, and a bond
/// that is made stands opposite one that breaks at the same atom, unless both are ends of a ring of
/// changing bonds. The best of some arrangements, which the seed turns at random.
Eigen::VectorXd dockedStart(const Species &species, const Proposal &proposal,
                            const Eigen::VectorXd &fragments, std::uint64_t seed);

/// How long a changing bond is in a transition state, bohr.
double transitionLength(const Species &species, const AtomPair &pair);

/// Fifteen steps downhill with springs that hold these bonds at those lengths.
Eigen::VectorXd relaxedUnderSprings(EnergySurface &surface, const BondsChanged &changed,
                                    const Eigen::VectorXd &start);

} // namespace saddlefit::collection
