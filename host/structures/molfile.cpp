#include "host/structures/molfile.hpp"

#include "host/structures/elements.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

// In V2000 tables counts have three columns, coordinates ten with four decimals. V3000 tables get
// coordinates of the same range and decimals.
constexpr std::size_t highestCount = 999;
constexpr double lowestCoordinate = -9999.9999;
constexpr double highestCoordinate = 99999.9999;
constexpr std::size_t chargesPerLine = 8;

void requireFit(const Place &origin, const std::vector<StructureAtom> &atoms) {
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        const auto &at = atoms[i].position;
        for (const double value : {at.x, at.y, at.z}) {
            if (value > lowestCoordinate && value < highestCoordinate) continue;
            throw Error(ErrorKind::limit, "the finished structure has a coordinate that does not "
                                          "fit an SD file; check the coordinates of the input")
                .about({static_cast<int>(i)})
                .at(origin);
        }
    }
}

// ---- V2000 ------------------------------------------------------------------------------------

std::string atomLines(const std::vector<StructureAtom> &atoms) {
    std::string text;
    for (const auto &[element, charge, at] : atoms) {
        text += formatted("%10.4f%10.4f%10.4f %-3s 0  0  0  0  0  0  0  0  0  0  0  0\n", at.x,
                          at.y, at.z, elementSymbol(element).c_str());
    }
    return text;
}

std::string bondLines(const std::vector<StructureBond> &bonds) {
    std::string text;
    for (const auto &bond : bonds)
        text += formatted("%3d%3d%3d  0\n", bond.atom1 + 1, bond.atom2 + 1, mdlType(bond.type));
    return text;
}

std::string chargeLines(const std::vector<StructureAtom> &atoms) {
    std::vector<std::string> entries;
    for (int number = 1; const auto &atom : atoms) {
        if (atom.charge != 0) entries.push_back(formatted("%4d%4d", number, atom.charge));
        ++number;
    }
    std::string text;
    for (std::size_t i = 0; i < entries.size(); i += chargesPerLine) {
        const auto count = std::min(chargesPerLine, entries.size() - i);
        text += formatted("M  CHG%3zu", count);
        for (std::size_t k = 0; k < count; ++k)
            text += entries[i + k];
        text += "\n";
    }
    return text;
}

std::string tableV2000(const std::vector<StructureAtom> &atoms,
                       const std::vector<StructureBond> &bonds) {
    return formatted("%3zu%3zu  0  0  0  0  0  0  0  0999 V2000\n", atoms.size(), bonds.size()) +
           atomLines(atoms) + bondLines(bonds) + chargeLines(atoms);
}

// ---- V3000 ------------------------------------------------------------------------------------

std::string v30Block(const char *name, const std::string &lines) {
    if (lines.empty()) return {};
    return formatted("M  V30 BEGIN %s\n", name) + lines + formatted("M  V30 END %s\n", name);
}

std::string v30AtomLines(const std::vector<StructureAtom> &atoms) {
    std::string text;
    for (int number = 1; const auto &[element, charge, at] : atoms) {
        text += formatted("M  V30 %d %s %.4f %.4f %.4f 0", number++, elementSymbol(element).c_str(),
                          at.x, at.y, at.z);
        if (charge != 0) text += formatted(" CHG=%d", charge);
        text += "\n";
    }
    return text;
}

std::string v30BondLines(const std::vector<StructureBond> &bonds) {
    std::string text;
    for (int number = 1; const auto &bond : bonds) {
        text += formatted("M  V30 %d %d %d %d\n", number++, mdlType(bond.type), bond.atom1 + 1,
                          bond.atom2 + 1);
    }
    return text;
}

std::string tableV3000(const std::vector<StructureAtom> &atoms,
                       const std::vector<StructureBond> &bonds) {
    const auto contents = formatted("M  V30 COUNTS %zu %zu 0 0 0\n", atoms.size(), bonds.size()) +
                          v30Block("ATOM", v30AtomLines(atoms)) +
                          v30Block("BOND", v30BondLines(bonds));
    return "  0  0  0     0  0            999 V3000\n" + v30Block("CTAB", contents);
}

} // namespace

std::string sdfLine(const std::string &text) {
    return text.starts_with(sdRecordEnd) ? "?" + text.substr(1) : text;
}

std::string molfile(const Place &origin, const std::string &title,
                    const std::vector<StructureAtom> &atoms,
                    const std::vector<StructureBond> &bonds) {
    requireFit(origin, atoms);
    auto drawn = bonds;
    std::erase_if(drawn, [](const StructureBond &bond) { return bond.type == 0; });
    const bool small = atoms.size() <= highestCount && drawn.size() <= highestCount;
    return sdfLine(title) + "\n  saddlefit         3D\n\n" +
           (small ? tableV2000(atoms, drawn) : tableV3000(atoms, drawn)) + "M  END\n";
}

std::string untypedBondLines(const std::vector<StructureBond> &bonds) {
    std::string text;
    for (const auto &bond : bonds) {
        if (bond.type == 0) text += formatted("%d %d\n", bond.atom1 + 1, bond.atom2 + 1);
    }
    return text;
}

std::string field(const char *name, const std::string &value) {
    if (value.empty()) return {};
    const bool closed = value.ends_with('\n');
    return std::string("> <") + name + ">\n" + value + (closed ? "\n" : "\n\n");
}

} // namespace saddlefit::host
