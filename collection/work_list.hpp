#pragma once

#include "collection/families.hpp"

#include <set>
#include <string>
#include <vector>

namespace saddlefit::collection {

/// A piece of work that is done by one process: a member of a family, or some of the proposals of a
/// molecule.
struct WorkEntry {
    std::string name;   ///< of the family and its member, or of the molecule and the round
    std::string family; ///< "enumeration" for molecules
    std::string smiles;
    BondOrders steps;      ///< of a family's member
    std::size_t round = 0; ///< of a molecule: which proposals
    double place = 0.0;    ///< in the order of the work; the last of a family is at 1
    std::size_t quota = 0; ///< of the family, 0 for none
};

struct WorkOptions {
    std::uint64_t seed = 1;
    std::size_t rounds = 4; ///< of each molecule
    std::size_t proposalsPerRound = 8;
    double stretch = 2.0; ///< place of the last molecule: families have more elements and ions
    std::size_t membersPerReaction = 3; ///< of a family that are tried for one that is wanted
    std::size_t largestSeed = 6;        ///< heavy atoms of a molecule that is found on the way
};

/// Families and molecules interleaved, so that a run that is cut short has some of each.
std::vector<WorkEntry> workList(const std::vector<Family> &families,
                                const std::vector<std::string> &molecules,
                                const WorkOptions &options);

/// The entries of a molecule that was found as the end of a reaction, none if it is too large, too
/// small, an ion or known.
std::vector<WorkEntry> entriesOf(const std::string &smiles, const WorkOptions &options);

/// The molecules at both ends of a record, canonical SMILES.
std::vector<std::string> moleculesIn(const std::string &smiles);

} // namespace saddlefit::collection
