/// Records of MDL files (mol, SD).
#pragma once

#include "host/structures/record_place.hpp"
#include "host/structures/structure.hpp"
#include "host/system/input_file.hpp"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct MdlRecord {
    std::string text;      ///< whole lines, without carriage returns
    std::size_t firstLine; ///< in the file, from 1
};

/// Where the records of an SD file stand: it is cut at its "$$$$" lines. Blank text behind the last
/// one is no record.
std::vector<RecordPlace> placesOfMdlRecords(const InputFile &file);

MdlRecord mdlRecordAt(const InputFile &file, const RecordPlace &place);

struct MdlTable {
    std::vector<StructureAtom> atoms;
    std::vector<StructureBond> bonds; ///< types as drawn; 4 is aromatic here
    std::vector<int> mapNumbers;      ///< per atom; 0 for none
    std::vector<int> hydrogens;       ///< per atom, those that are not drawn
    std::vector<int> unpaired;        ///< per atom, electrons of the radicals that are marked
    std::map<std::string, std::string> fields;
    bool hasIsotopes = false;
};

/// Read a V2000 or V3000 record: counts, atoms, bonds, charges and data fields. The first of
/// several fields of one name counts. Throws Error ("line 7: ...") on what is not a number where
/// one must stand, and with "the record is broken: " in front for atoms and bonds that cannot be.
MdlTable readMdlTable(const MdlRecord &record);

} // namespace saddlefit::host
