// The text of XYZ files: a count of atoms, a title, a line per atom; then the next record.
#pragma once

#include "host/structures/structure.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct XyzRecord {
    std::string title;
    std::vector<std::string_view> atomLines; // in the text that was split
    std::size_t firstAtomLine = 0;           // number in the file, from 1
    std::string fault;                       // where no record can be told from the lines
};

// Cut a file at the counts that begin each record; blank lines between records are passed over.
// A record with a fault is the last one: what is behind it cannot be found.
std::vector<XyzRecord> splitXyzRecords(std::string_view text);

// Read the atoms: an element, by symbol or number, and three coordinates in angstrom, parted by
// blanks; what else stands in the line is passed over.
// Throws Error ("line 7: ...") on anything else.
std::vector<StructureAtom> readXyzAtoms(const XyzRecord &record);

// Whether an atom is called D or T.
bool namesIsotopes(const XyzRecord &record);

// A record for such a file.
std::string xyzRecord(const std::string &title, const std::vector<StructureAtom> &atoms);

} // namespace saddlefit::host
