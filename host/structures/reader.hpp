// Structures out of files, in whatever format Open Babel reads.
#pragma once

#include "host/structures/structure.hpp"
#include "host/system/error.hpp"

#include <string>
#include <variant>
#include <vector>

namespace saddlefit::host {

// A record is a structure, or the reason why it is none.
using Record = std::variant<Structure, Error>;

// The structure of a record; throws the reason if there is none.
const Structure &structureOf(const Record &record);

// What to call a structure in output: its title, or "record 3".
std::string titleOf(const Structure &structure, std::size_t index);

// Where a structure's bonds come from.
enum class BondSource {
    format,            // the file; the coordinates where its format has no bonds
    fileOrCoordinates, // the record; the coordinates where it names no bond
    coordinates        // the coordinates; contacts (type 0) are among them in this case only
};

// Read every record of a file. The format follows from the file's extension.
//
// Atoms keep the file's order (those of a SMILES the order of its map numbers), no hydrogens are
// added, and bonds keep the orders that are drawn in the file: a Kekule structure stays as it is, a
// bond drawn aromatic in an MDL file becomes type 5 (other formats give aromatic bonds in a Kekule
// form that Open Babel chooses). Bonds that come from the coordinates are perceived by the library.
//
// A broken record of an SD file, or of an XYZ file as long as its count is sound, is given as such
// and those behind it are read; in any other format nothing can be read behind it. Throws Error
// for a file that cannot be read.
std::vector<Record> readRecords(const std::string &path, BondSource source = BondSource::format);

} // namespace saddlefit::host
