// The database as the stages need it.
#pragma once

#include "host/search/length_table.hpp"
#include "host/search/stages.hpp"
#include "host/structures/host_molecule.hpp"
#include "host/system/temporary_file.hpp"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace saddlefit::host {

using Code = std::vector<int>; // as codeOf() gives it

class StoredReactions {
public:
    // Throws Error unless there is a sound database at `path`.
    explicit StoredReactions(const std::string &path);

    bool empty() const { return empty_; }

    // Read the database once more and keep a copy of what answers questions of the stage "sigma"
    // with one of these codes.
    void prepareSigma(const std::set<Code> &codes);

    // Count the usual lengths of changing bonds.
    void prepareLengths();
    const LengthTable &lengths() const { return lengths_; }

    // The stored molecules with this code, in file order.
    std::vector<HostMolecule> candidates(Stage stage, const Code &code) const;

private:
    std::string path_;
    bool empty_;
    std::unique_ptr<TemporaryFile> sigma_;
    LengthTable lengths_;
};

// Databases of a few candidates, for one search each. Records are named by the candidate's index.
class SearchFile {
public:
    explicit SearchFile(const std::vector<HostMolecule> &candidates);

    // A database of the candidates with these indices; it stands until the next call.
    const std::string &holding(const std::vector<std::size_t> &indices);

private:
    std::vector<std::string> blocks_; // of the candidates, as they stand in a file
    TemporaryFile file_;
};

} // namespace saddlefit::host
