// The record of a database block, read from the file's bytes with everything that can be wrong in
// it. (The library's own reader makes the best of a damaged record and reports nothing.)
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace saddlefit::host {

// What is wrong, and where in the file the bytes stand that say so.
struct Damage {
    std::size_t offset = 0;
    std::string what;
};

struct StoredRecord {
    std::string name;
    std::vector<int> code; // with its closing 0
    std::vector<StructureAtom> atoms;
    std::vector<StructureBond> bonds;
    std::vector<Transition> transitions;
    std::size_t bytes = 0; // its own length; the rest of its block means nothing
};

// An unsigned integer with its least significant byte first.
unsigned int littleEndian(std::string_view bytes);

// Read the record at the beginning of `data`, the contents of the block at `offset` in the file.
// A record is sound if its counts fit the block, its name and its code end where their lengths say,
// its bonds and transitions name atoms that it has, its coordinates are finite, and its code is
// that of its transitions.
std::variant<StoredRecord, Damage> readRecord(std::string_view data, std::size_t offset);

} // namespace saddlefit::host
