/// Records read with everything that can be wrong in them.
#pragma once

#include "database/byte_source.hpp"
#include "database/record_layout.hpp"
#include "database/scan.hpp"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace saddlefit {

/// What is wrong, and at which offset of the file the bytes stand that say so.
struct Damage {
    std::int64_t offset = 0;
    std::string what;
};

/// Computes a molecule's transition code, a block of the C heap, or null for one without
/// transitions; the folder that does stands above this one.
using CodeOf = int *(*)(Molecule *);

struct SoundRecord {
    RecordLayout layout;
    OwnedBlock<char> name;
    std::vector<std::int32_t> code; ///< with its closing 0
    OwnedMol molecule;              ///< null in a head
};

/// How far to read.
enum class Depth { head, all };

/// Read the record at the beginning of a data area of that size. Throws std::bad_alloc.
std::variant<SoundRecord, Damage> readStrictly(ByteWindow &window, std::int64_t data,
                                               std::size_t size, CodeOf codeOf,
                                               Depth depth = Depth::all);

} // namespace saddlefit
