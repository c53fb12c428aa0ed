/// Records in the formats of other programs.
#pragma once

#include "host/store/catalogue.hpp"

#include <string>

namespace saddlefit::host {

/// The three SD records that "db add" makes the record of, with what is known as data fields.
struct ReactionRecords {
    std::string reactant;
    std::string product;
    std::string transitionState;
};

/// Throws Error, with an origin, if the record's sides are not known and cannot be told from its
/// bonds either, or if a coordinate does not fit the format.
ReactionRecords reactionRecords(const Place &origin, const CatalogueEntry &entry);

/// A record of extended XYZ: the transition state, its second line with a key and a value for each
/// fact. Energies are hartree there, barriers kcal/mol, as their keys say.
std::string extendedXyz(const CatalogueEntry &entry);

} // namespace saddlefit::host
