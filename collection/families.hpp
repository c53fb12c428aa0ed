#pragma once

#include "collection/geometry.hpp"

#include <string>
#include <vector>

namespace saddlefit::collection {

/// One member of a family: its reactant with all slots filled, and what happens to its bonds.
struct FamilyMember {
    std::string smiles; ///< atoms that the steps name carry map numbers
    BondOrders steps;   ///< by map numbers

    /// "[Cl-:1].[CH3:2][Cl:3] 1-2+ 2-3-" without the hydrogens that are filled up.
    std::string name() const;
};

/// A kind of reaction with its members in the order in which they are tried.
struct Family {
    std::string name;
    std::size_t quota = 0; ///< reactions that are wanted
    std::vector<FamilyMember> members;
};

/// Read families from text:
///
///     family NAME QUOTA
///     react SMILES | 1-2+ 2-3- 4-5++
///     R [H] C F
///
/// A line `react` gives a parent: atoms without a count of hydrogens in the brackets of map numbers
/// get as many as they lack, and what stands behind the bar are bonds with a sign per unit of
/// order. A letter line lists what takes the place of `{R}` in the parents of its family. All
/// combinations are members; the parents themselves (the first of each list) come first, the seed
/// shuffles the others. Throws Error with the line's number.
std::vector<Family> readFamilies(const std::string &text, std::uint64_t seed);

/// The proposal of a member between the atoms of its molecule. Throws Error if that is no reaction.
Proposal proposalOf(const Molecule3D &molecule, const FamilyMember &member);

/// The SMILES with the hydrogens that mapped atoms lack.
std::string withHydrogens(const std::string &smiles);

} // namespace saddlefit::collection
