/// What to look for in a database.
#pragma once

#include "host/store/catalogue.hpp"

#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace saddlefit::host {

/// Every condition that is set has to be met. What is known only beside the record is not met where
/// nothing is known.
struct RecordFilter {
    std::string code;       ///< element pairs of the changing bonds in any order: "C-O C-N"
    std::set<int> elements; ///< all of them occur
    std::string name;       ///< part of the name, in either case
    std::string level;      ///< likewise, of the level of theory
    std::string family;     ///< likewise
    std::string smarts;     ///< SMARTS or SMILES that the reactant or the product has
    std::optional<Quality> quality;
    double lowestBarrier = -std::numeric_limits<double>::infinity(); ///< kcal/mol
    double highestBarrier = std::numeric_limits<double>::infinity();

    /// Throws Error for a pattern that cannot be read, and where there is no Open Babel to ask.
    bool admits(const CatalogueEntry &entry) const;
};

/// Reactant and product of a record: the known ones, or what its transitions leave of its bonds, at
/// its own coordinates.
std::vector<Structure> sidesOf(const CatalogueEntry &entry);

} // namespace saddlefit::host
