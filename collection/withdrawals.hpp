#pragma once

#include "collection/shipping.hpp"
#include "host/reactions/reaction_files.hpp"

#include <map>
#include <string>

namespace saddlefit::collection {

/// Records of a journal that failed a check after they had been accepted: `withdrawn.tsv`, the hash
/// of the reaction and why.
class Withdrawals {
public:
    /// Throws Error if the file, which may be missing, cannot be read.
    explicit Withdrawals(const std::string &folder);

    const std::map<std::string, std::string> &reasons() const { return reasons_; } ///< by hash
    void add(const std::string &hash, const std::string &reason);

private:
    std::string path_;
    std::map<std::string, std::string> reasons_;
};

/// By hash, what is wrong with shipped records as a database: those that it takes for the
/// transition state of another one, and those that do not answer exactly for themselves. The
/// database is made in `folder`. Throws Error.
std::map<std::string, std::string> faultsAsDatabase(const std::vector<ShippedRecord> &records,
                                                    const ReactionFiles &files,
                                                    const std::string &folder);

} // namespace saddlefit::collection
