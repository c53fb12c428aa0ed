#pragma once

#include "collection/journal.hpp"

#include <string>
#include <vector>

namespace saddlefit::collection {

/// A record of the journal, what it is called and where it is from.
struct ShippedRecord {
    std::string name; ///< "ene 13885358": the family and the beginning of the hash
    std::string family;
    std::string centre; ///< the code that a database finds it by: "C-H O-H"
    host::Json record;
};

/// Shares of the collection that are not to be exceeded.
struct Quotas {
    double carbenes = 0.15; ///< with a carbene end
    double high = 0.20;     ///< with a barrier, to either side, above 100 kcal/mol
};

/// Hashes of reactions that are withdrawn, and why.
using Withdrawn = std::map<std::string, std::string>;

/// What of a journal goes into the collection, in the journal's order, each reaction with its
/// lowest saddle. Where there is too much of a kind, those with the highest barriers stay out.
std::vector<ShippedRecord> shippedFrom(const Journal &journal, const Withdrawn &withdrawn,
                                       const Quotas &quotas = {});

/// Write `reactants.sdf`, `products.sdf`, `ts.sdf` and `records.jsonl` into a folder. Throws Error.
void ship(const std::vector<ShippedRecord> &records, const std::string &folder, std::uint64_t seed);

/// One member of each family as a picture, "FAMILY.svg" in a folder. Throws Error.
void shipPictures(const std::vector<ShippedRecord> &records, const std::string &folder);

/// What came of the attempts as a table in Markdown, a row for each family with its picture, and
/// the figures of the collection under it.
std::string tableOf(const Journal &journal, const std::vector<ShippedRecord> &shipped,
                    const Withdrawn &withdrawn);

} // namespace saddlefit::collection
