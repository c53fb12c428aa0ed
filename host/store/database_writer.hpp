// Thousands of new records for a database. (The library's own way opens the file for each record
// and walks over all blocks before it.)
#pragma once

#include "host/store/database_file.hpp"
#include "host/structures/host_molecule.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

// The bytes of a record as the library writes it, without a block around it; nothing if its counts
// or its name are beyond what a record holds.
std::optional<std::string> recordBytes(Molecule &mol, const std::string &name);

// A database in memory.
class DatabaseWriter {
public:
    // Begins with the contents of the file, or empty where there is none. Throws Error if the
    // file is no database.
    explicit DatabaseWriter(const std::string &path);

    const std::string &bytes() const { return bytes_; }
    const std::vector<Block> &blocksInUse() const { return used_; }
    std::string_view dataIn(const Block &block) const { return block.dataIn(bytes_); }

    // Where the library would put it: into the first free block that is large enough, else at the
    // end. Throws Error if it would come to lie where no search comes.
    Block place(std::string_view record);

private:
    std::string path_, bytes_;
    std::vector<Block> used_, free_;
};

} // namespace saddlefit::host
