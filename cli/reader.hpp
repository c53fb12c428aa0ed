// Structures out of files, in whatever format Open Babel reads.
#ifndef SADDLEFIT_CLI_READER_HPP
#define SADDLEFIT_CLI_READER_HPP

#include "cli/errors.hpp"
#include "cli/structure.hpp"

#include <string>
#include <variant>
#include <vector>

namespace saddlefit::cli {

// A record is a structure, or the reason why it is none.
using Record = std::variant<Structure, UserError>;

// The structure of a record; throws the reason if there is none.
const Structure &structureOf(const Record &record);

// Read every record of a file. The format follows from the file's extension.
//
// Atoms keep the file's order, no hydrogens are added, and bonds keep the orders that are drawn in
// the file: a Kekule structure stays as it is, a bond drawn aromatic in an MDL file becomes type 5
// (other formats give aromatic bonds in a Kekule form that Open Babel chooses). Where a format
// has no bonds, they are perceived from the geometry.
//
// A broken record of an SD file is given as such and those behind it are read; in any other format
// nothing can be read behind it. Throws UserError for a file that cannot be read.
std::vector<Record> readRecords(const std::string &path);

} // namespace saddlefit::cli

#endif
