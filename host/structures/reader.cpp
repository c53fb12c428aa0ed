#include "host/structures/reader.hpp"

#include "host/structures/elements.hpp"
#include "host/structures/mdl.hpp"
#include "host/structures/open_babel_log.hpp"
#include "host/structures/perception.hpp"
#include "host/structures/smiles.hpp"
#include "host/structures/xyz.hpp"

#include <openbabel/atom.h>
#include <openbabel/bond.h>
#include <openbabel/generic.h>
#include <openbabel/mol.h>
#include <openbabel/obconversion.h>
#include <openbabel/obiter.h>
#include <openbabel/ring.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace saddlefit::host {

namespace {

using OpenBabel::OBConversion;
using OpenBabel::OBFormat;
using OpenBabel::OBMol;

constexpr int highestBondType = 3;

std::string origin(const std::string &path, std::size_t record, const std::string &title) {
    const std::string where = path + ", record " + std::to_string(record);
    return title.empty() ? where : where + " (" + title + ")";
}

std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' '; }, ' ');
    const auto end = text.find_last_not_of(' ');
    return text.substr(0, end == std::string::npos ? 0 : end + 1);
}

// ---- from Open Babel's molecule to ours -------------------------------------------------------

template <std::size_t Count>
bool isOneOf(OBFormat *format, const std::array<const char *, Count> &ids) {
    return std::any_of(ids.begin(), ids.end(),
                       [&](const char *id) { return OBConversion::FindFormat(id) == format; });
}

// Open Babel connects the atoms of such a format itself, unless it is told not to.
bool mayStayUnconnected(OBFormat *format) {
    return std::strstr(format->Description(), "isable bonding") != nullptr;
}

// Formats that give coordinates alone are those, save these, which may name bonds.
bool lacksBonds(OBFormat *format) {
    constexpr std::array<const char *, 5> withBonds{"pdb", "pqr", "cif", "mmcif", "car"};
    return mayStayUnconnected(format) && !isOneOf(format, withBonds);
}

// What is wanted of a file.
struct Request {
    OBFormat *format;
    BondSource source;

    bool drawnBonds() const { return source != BondSource::coordinates && !lacksBonds(format); }
    bool isSideOfReaction() const { return source == BondSource::format; }
};

StructureAtom convertedAtom(OpenBabel::OBAtom &atom) {
    const auto element = static_cast<int>(atom.GetAtomicNum());
    if (element == 0) {
        throw Error("atom " + std::to_string(atom.GetIdx()) +
                    " is of no known element; name the element in the file");
    }
    const Position position{atom.GetX(), atom.GetY(), atom.GetZ()};
    if (!std::isfinite(position.x + position.y + position.z)) {
        throw Error("atom " + std::to_string(atom.GetIdx()) +
                    " has no finite coordinates; correct the file");
    }
    return {element, atom.GetFormalCharge(), position};
}

StructureBond convertedBond(OpenBabel::OBBond &bond) {
    const auto atom1 = static_cast<int>(bond.GetBeginAtomIdx()) - 1;
    const auto atom2 = static_cast<int>(bond.GetEndAtomIdx()) - 1;
    return {atom1, atom2, static_cast<int>(bond.GetBondOrder())};
}

// Empty unless all bonds of the ring are aromatic.
Ring aromaticRing(OBMol &mol, const std::vector<int> &path) {
    Ring bonds;
    for (std::size_t i = 0; i < path.size(); ++i) {
        const int a = path[i];
        const int b = path[(i + 1) % path.size()];
        const auto *bond = mol.GetBond(a, b);
        if (bond == nullptr || !bond->IsAromatic()) return {};
        bonds.push_back(orderedPair(a - 1, b - 1));
    }
    std::sort(bonds.begin(), bonds.end());
    return bonds;
}

std::vector<Ring> aromaticRings(OBMol &mol) {
    std::vector<Ring> rings;
    for (const auto *ring : mol.GetSSSR()) {
        if (auto bonds = aromaticRing(mol, ring->_path); !bonds.empty()) {
            rings.push_back(std::move(bonds));
        }
    }
    return rings;
}

std::map<std::string, std::string> dataFields(OBMol &mol) {
    std::map<std::string, std::string> fields;
    for (auto *data : mol.GetAllData(OpenBabel::OBGenericDataType::PairData)) {
        fields.emplace(data->GetAttribute(), data->GetValue());
    }
    return fields;
}

Structure converted(OBMol &mol, bool drawnBonds) {
    Structure structure;
    structure.title = oneLine(mol.GetTitle());
    structure.fields = dataFields(mol);
    FOR_ATOMS_OF_MOL(atom, mol) {
        structure.atoms.push_back(convertedAtom(*atom));
        if (atom->GetIsotope() != 0) structure.hasIsotopes = true;
    }
    structure.mapNumbers = mapNumbersOf(mol);
    if (!drawnBonds) return structure;
    FOR_BONDS_OF_MOL(bond, mol) structure.bonds.push_back(convertedBond(*bond));
    structure.aromaticRings = aromaticRings(mol);
    return structure;
}

// ---- bonds from the coordinates ---------------------------------------------------------------

// The rings of type 5 bonds, found in a molecule that has no other bonds.
std::vector<Ring> perceivedRings(const Structure &structure) {
    OBMol mol;
    for (const auto &atom : structure.atoms)
        mol.NewAtom()->SetAtomicNum(atom.element);
    for (const auto &bond : structure.bonds) {
        if (bond.type != aromaticType) continue;
        mol.AddBond(bond.atom1 + 1, bond.atom2 + 1, 1);
        mol.GetBond(bond.atom1 + 1, bond.atom2 + 1)->SetAromatic();
    }
    mol.SetAromaticPerceived();
    return aromaticRings(mol);
}

void requireCoordinates(const std::vector<StructureAtom> &atoms) {
    if (hasCoordinates(atoms)) return;
    throw Error("the record has neither bonds nor coordinates to find them by; make a "
                "three-dimensional structure of it first");
}

void perceiveBonds(Structure &structure, BondSource source) {
    requireCoordinates(structure.atoms);
    if (source == BondSource::coordinates) {
        structure.bonds = perceivedBonds(structure.atoms);
        return;
    }
    structure.bonds = perceivedCovalentBonds(structure.atoms);
    structure.aromaticRings = perceivedRings(structure);
}

void checkBondTypes(const Structure &structure) {
    for (const auto &bond : structure.bonds) {
        const bool known =
            (bond.type >= 1 && bond.type <= highestBondType) || bond.type == aromaticType;
        if (known) continue;
        throw Error("the bond of atoms " + std::to_string(bond.atom1 + 1) + " and " +
                    std::to_string(bond.atom2 + 1) + " has type " + std::to_string(bond.type) +
                    "; only single, double, triple and aromatic bonds have a meaning here");
    }
}

// The structure that `read` makes, or its complaint with the place in front.
template <class Read>
Record finishedRecord(const std::string &where, const Request &request, Read read) {
    try {
        Structure structure = read();
        if (structure.atoms.empty()) {
            throw Error("the record holds no atoms; is it of this format?");
        }
        const bool bare =
            structure.bonds.empty() && request.source == BondSource::fileOrCoordinates;
        if (bare || !request.drawnBonds())
            perceiveBonds(structure, request.source);
        else
            checkBondTypes(structure);
        structure.origin = where;
        return structure;
    } catch (const Error &error) {
        return Error(where + ": " + error.what());
    }
}

// ---- MDL files: record by record --------------------------------------------------------------

void takeDrawnBondTypes(const MdlTable &table, Structure &structure) {
    if (table.atomCount != structure.atoms.size() ||
        table.bondTypes.size() != structure.bonds.size()) {
        throw Error("the record announces other numbers of atoms or bonds than it holds; "
                    "write the file anew");
    }
    for (std::size_t i = 0; i < structure.bonds.size(); ++i) {
        const int drawn = table.bondTypes[i];
        // 5 stands for a query in MDL files, not for an aromatic bond as in ours.
        if (drawn > mdlAromaticType) {
            throw Error("bond " + std::to_string(i + 1) + " has type " + std::to_string(drawn) +
                        ", a query or a bond of no definite order; "
                        "draw it single, double, triple or aromatic, or leave it out");
        }
        structure.bonds[i].type = drawn == mdlAromaticType ? aromaticType : drawn;
    }
}

Structure readMdlRecord(const Request &request, const MdlRecord &record) {
    const MdlTable table = readMdlTable(record);
    const OpenBabelLog log;
    OBConversion conversion;
    conversion.SetInFormat(request.format);
    OBMol mol;
    if (!conversion.ReadString(&mol, record.text)) {
        throw Error("the record is broken: " + log.complaint());
    }
    Structure structure = converted(mol, request.drawnBonds());
    if (request.drawnBonds()) takeDrawnBondTypes(table, structure);
    return structure;
}

bool isMdl(OBFormat *format) {
    constexpr std::array<const char *, 4> ids{"sdf", "sd", "mol", "mdl"};
    return isOneOf(format, ids);
}

// The title line, for messages about a record that cannot be read.
std::string titleLine(const MdlRecord &record) {
    return oneLine(record.text.substr(0, record.text.find('\n')));
}

std::vector<Record> readMdlFile(const std::string &path, const Request &request,
                                const std::string &text) {
    std::vector<Record> records;
    for (const auto &record : splitMdlRecords(text)) {
        const auto where = origin(path, records.size() + 1, titleLine(record));
        records.push_back(
            finishedRecord(where, request, [&] { return readMdlRecord(request, record); }));
    }
    return records;
}

// ---- XYZ files: record by record --------------------------------------------------------------

bool isXyz(OBFormat *format) {
    constexpr std::array<const char *, 1> ids{"xyz"};
    return isOneOf(format, ids);
}

std::vector<Record> readXyzFile(const std::string &path, const Request &request,
                                const std::string &text) {
    std::vector<Record> records;
    for (const auto &record : splitXyzRecords(text)) {
        const auto title = oneLine(record.title);
        const auto where = origin(path, records.size() + 1, title);
        if (!record.fault.empty()) throw Error(where + ": " + record.fault);
        records.push_back(finishedRecord(where, request, [&] {
            Structure structure;
            structure.title = title;
            structure.atoms = readXyzAtoms(record);
            structure.hasIsotopes = namesIsotopes(record);
            return structure;
        }));
    }
    return records;
}

// ---- other formats: as a stream ---------------------------------------------------------------

bool isSmiles(OBFormat *format) {
    constexpr std::array<const char *, 2> ids{"smi", "can"};
    return isOneOf(format, ids);
}

// Of the sides of a reaction every atom has to be there, and to be known by a number.
void prepareSmiles(OBMol &mol, const Request &request) {
    if (request.isSideOfReaction()) requireWrittenHydrogens(mol);
    if (sortByMapNumbers(mol) || !request.isSideOfReaction()) return;
    throw Error("the map numbers are not 1, 2, 3, ..., each once; number all atoms, hydrogens "
                "too, and alike on both sides");
}

// Read() answers false at the end and for a broken record alike. It was a broken one if something
// was read of it all the same, or if Open Babel had something to complain about. Closing lines,
// such as END in PDB files, come as a last record without atoms.
bool atEnd(bool complete, const OBMol &mol, const OpenBabelLog &log, std::istream &stream) {
    if (mol.NumAtoms() > 0) return false;
    return complete ? (stream >> std::ws).eof() : log.complaint().empty();
}

std::vector<Record> readStream(const std::string &path, const Request &request,
                               const std::string &text) {
    std::vector<Record> records;
    std::istringstream stream(text);
    OBConversion conversion(&stream);
    conversion.SetInFormat(request.format);
    if (!request.drawnBonds() && mayStayUnconnected(request.format)) {
        conversion.AddOption("b", OBConversion::INOPTIONS);
    }
    for (;;) {
        const OpenBabelLog log;
        OBMol mol;
        const bool complete = conversion.Read(&mol);
        if (atEnd(complete, mol, log, stream)) return records;
        const auto where = origin(path, records.size() + 1, oneLine(mol.GetTitle()));
        if (!complete) throw Error(where + ": the record is broken: " + log.complaint());
        records.push_back(finishedRecord(where, request, [&] {
            if (isSmiles(request.format)) prepareSmiles(mol, request);
            return converted(mol, request.drawnBonds());
        }));
    }
}

// ---- the file -----------------------------------------------------------------------------------

OBFormat *formatOf(const std::string &path) {
    bool compressed = false;
    OBFormat *format = OBConversion::FormatFromExt(path, compressed);
    if (compressed) throw Error(path + ": the file is compressed; unpack it with gunzip");
    if (format == nullptr) {
        throw Error(path + ": the extension names no format that Open Babel knows; use one "
                           "such as .sdf, .mol2 or .xyz (\"obabel -L formats\" lists them)");
    }
    if ((format->Flags() & NOTREADABLE) != 0) {
        throw Error(path + ": Open Babel writes this format but does not read it; convert "
                           "the file to SDF with the program that made it");
    }
    return format;
}

std::string contentsOf(const std::string &path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw Error(path + ": this is a folder; name a file in it");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Error(path + ": cannot be opened (" + std::strerror(errno) +
                    "); check the name and your rights");
    }
    std::ostringstream text;
    text << file.rdbuf();
    if (file.bad()) throw Error(path + ": an error occurred while it was read");
    return std::move(text).str();
}

} // namespace

const Structure &structureOf(const Record &record) {
    if (const auto *error = std::get_if<Error>(&record)) throw *error;
    return std::get<Structure>(record);
}

std::string titleOf(const Structure &structure, std::size_t index) {
    return structure.title.empty() ? "record " + std::to_string(index + 1) : structure.title;
}

std::vector<Record> readRecords(const std::string &path, BondSource source) {
    const std::string text = contentsOf(path);
    const Request request{formatOf(path), source};
    const auto read = isMdl(request.format)   ? readMdlFile
                      : isXyz(request.format) ? readXyzFile
                                              : readStream;
    auto records = read(path, request, text);
    if (records.empty()) {
        throw Error(path + ": no structure was found in it; is it of the format that its "
                           "extension says?");
    }
    return records;
}

} // namespace saddlefit::host
