/// Records of a database, and what can be wrong in them.
#pragma once

#include "saddlefit/store.h"

#include "host/structures/structure.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace saddlefit::host {

/// What is wrong, and where in the file the bytes stand that say so.
struct Damage {
    std::size_t offset = 0;
    std::string what;
};

struct StoredRecord {
    std::string name;
    std::vector<int> code; ///< with its closing 0
    std::vector<StructureAtom> atoms;
    std::vector<StructureBond> bonds;
    std::vector<Transition> transitions;
    std::size_t bytes = 0; ///< its own length; the rest of its block means nothing
};

struct CloseStore {
    void operator()(StoreFile *file) const { closeStore(file); }
};
using OpenStore = std::unique_ptr<StoreFile, CloseStore>;

/// Read the record of a block, strictly.
std::variant<StoredRecord, Damage> readRecord(StoreFile &file, const StoreBlock &block);

/// Read a record from its bytes alone.
std::variant<StoredRecord, Damage> readRecord(std::string_view bytes);

/// The bytes of a record without a block around it; nothing if its counts or its name are beyond
/// what a record holds, or there are no transitions.
std::optional<std::string> recordBytes(Molecule &mol, const std::string &name);

/// The header of a block in use.
std::string blockHeader(std::size_t size);

} // namespace saddlefit::host
