// The text of MDL files (mol, SD), as far as Open Babel does not keep or check it: where a record
// begins and ends, which bonds are drawn aromatic, and whether the coordinates are numbers.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct MdlRecord {
    std::string text;      // whole lines, without carriage returns
    std::size_t firstLine; // in the file, from 1
};

// Cut an SD file at its "$$$$" lines. Blank text behind the last one is no record.
std::vector<MdlRecord> splitMdlRecords(std::string_view text);

struct MdlTable {
    std::size_t atomCount = 0;
    std::vector<int> bondTypes; // as drawn, in file order
};

// Read the counts and the drawn bond types of a V2000 or V3000 record.
// Throws Error ("line 7: ...") on what is not a number where one must stand.
MdlTable readMdlTable(const MdlRecord &record);

} // namespace saddlefit::host
