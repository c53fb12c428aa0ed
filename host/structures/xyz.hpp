/// The text of XYZ files: a count of atoms, a title, a line per atom; then the next record.
#pragma once

#include "host/structures/record_place.hpp"
#include "host/structures/structure.hpp"
#include "host/system/input_file.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct XyzRecord {
    std::string title;
    std::vector<std::string_view> atomLines; ///< in the text that was split
    std::size_t firstAtomLine = 0;           ///< number in the file, from 1
    std::string fault;                       ///< where no record can be told from the lines
};

/// Where the records of a file stand: it is cut at the counts that begin each of them; blank lines
/// between records are passed over. Where no record can be told from the lines, the place is the
/// last one and reaches to the end of the file: what is behind it cannot be found.
std::vector<RecordPlace> placesOfXyzRecords(const InputFile &file);

/// Whether a record can begin with this line: a number stands there, alone.
bool countsAtoms(std::string_view line);

/// The record in the text of its place, which must outlive it.
XyzRecord xyzRecordIn(std::string_view text, std::size_t firstLine);

/// Read the atoms: an element, by symbol or number, and three coordinates in angstrom, parted by
/// blanks; what else stands in the line is passed over.
/// Throws Error ("line 7: ...") on anything else.
std::vector<StructureAtom> readXyzAtoms(const XyzRecord &record);

/// Whether an atom is called D or T.
bool namesIsotopes(const XyzRecord &record);

/// What a title tells by "charge=-1", "mult=2" or "uhf=1", in any case and anywhere between other
/// words: the charge, and the unpaired electrons.
struct ToldElectrons {
    std::optional<int> charge, unpaired;
};

/// Throws Error where no whole number stands behind such a word, or they contradict each other.
ToldElectrons electronsInTitle(std::string_view title);

/// A record for such a file.
std::string xyzRecord(const std::string &title, const std::vector<StructureAtom> &atoms);

} // namespace saddlefit::host
