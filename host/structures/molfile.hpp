/// Structures as molfiles, and the pieces of SD records.
#pragma once

#include "host/structures/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

/// The type of a bond as MDL files have it. They have no quadruple bond: 8 says "of any order".
inline int mdlType(int type) {
    constexpr int quadrupleType = 4, mdlAnyType = 8;
    if (type == aromaticType) return mdlAromaticType;
    return type == quadrupleType ? mdlAnyType : type;
}

/// The line behind each record of an SD file.
inline constexpr const char *sdRecordEnd = "$$$$";

/// A title, or another line of free text, where an SD file has it: "$$$$" would end the record.
std::string sdfLine(const std::string &text);

/// From the title line to "M  END": a V2000 table, or a V3000 one beyond 999 atoms or bonds. Bonds
/// of type 0 have no MDL type and are left out.
/// Throws Error at `origin` if a coordinate does not fit the format.
std::string molfile(const Place &origin, const std::string &title,
                    const std::vector<StructureAtom> &atoms,
                    const std::vector<StructureBond> &bonds);

/// A line "A B" for each bond of type 0, atoms counted from 1.
std::string untypedBondLines(const std::vector<StructureBond> &bonds);

/// A data field of an SD record; nothing without a value.
std::string field(const char *name, const std::string &value);

} // namespace saddlefit::host
