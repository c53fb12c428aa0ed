#include "host/structures/reader.hpp"

#include "host/structures/aromaticity.hpp"
#include "host/structures/babel.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/mdl.hpp"
#include "host/structures/perception.hpp"
#include "host/structures/smiles.hpp"
#include "host/structures/xyz.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string_view>

namespace saddlefit::host {

namespace {

constexpr int highestBondType = 3;

std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' '; }, ' ');
    const auto end = text.find_last_not_of(' ');
    return text.substr(0, end == std::string::npos ? 0 : end + 1);
}

// ---- the bonds --------------------------------------------------------------------------------

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
    structure.aromaticRings = ringsOfAromaticBonds(structure.atoms.size(), structure.bonds);
}

void checkBondTypes(const Structure &structure) {
    for (const auto &bond : structure.bonds) {
        const bool known =
            (bond.type >= 1 && bond.type <= highestBondType) || bond.type == aromaticType;
        if (known) continue;
        throw Error("the bond of atoms " + std::to_string(bond.atom1 + 1) + " and " +
                    std::to_string(bond.atom2 + 1) + " has type " + std::to_string(bond.type) +
                    "; only single, double, triple and aromatic bonds have a meaning here")
            .about({bond.atom1, bond.atom2});
    }
}

// The structure that `read` makes, or its complaint with the place in front.
template <class Read>
Record finishedRecord(const Place &where, BondSource source, bool drawnBonds, Read read) {
    try {
        Structure structure = read();
        if (structure.atoms.empty()) {
            throw Error("the record holds no atoms; is it of this format?");
        }
        structure.namesBonds = drawnBonds;
        const bool bare = structure.bonds.empty() && source == BondSource::fileOrCoordinates;
        if (drawnBonds && !bare)
            checkBondTypes(structure);
        else if (source != BondSource::formatOnly)
            perceiveBonds(structure, source);
        structure.origin = where;
        return structure;
    } catch (const Error &error) {
        return error.at(where);
    }
}

// ---- MDL files: record by record --------------------------------------------------------------

// The title line, for messages about a record that cannot be read.
std::string titleLine(const MdlRecord &record) {
    return oneLine(record.text.substr(0, record.text.find('\n')));
}

std::string titleOf(const MdlRecord &record) {
    const auto line = titleLine(record);
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

void checkAtoms(const std::vector<StructureAtom> &atoms) {
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        const auto &[element, charge, at] = atoms[i];
        if (element == 0) {
            throw Error("atom " + std::to_string(i + 1) +
                        " is of no known element; name the element in the file")
                .about({static_cast<int>(i)});
        }
        if (!std::isfinite(at.x + at.y + at.z)) {
            throw Error("atom " + std::to_string(i + 1) +
                        " has no finite coordinates; correct the file")
                .about({static_cast<int>(i)});
        }
    }
}

// Empty where there is none.
std::vector<int> unlessNone(const std::vector<int> &ofAtoms) {
    const bool any = std::any_of(ofAtoms.begin(), ofAtoms.end(), [](int n) { return n != 0; });
    return any ? ofAtoms : std::vector<int>{};
}

void checkDrawnType(int drawn, std::size_t bond) {
    // 5 stands for a query in MDL files, not for an aromatic bond as in ours.
    if (drawn <= mdlAromaticType) return;
    throw Error("bond " + std::to_string(bond + 1) + " has type " + std::to_string(drawn) +
                ", a query or a bond of no definite order; "
                "draw it single, double, triple or aromatic, or leave it out");
}

Structure readMdlRecord(bool drawnBonds, const MdlRecord &record) {
    auto table = readMdlTable(record);
    checkAtoms(table.atoms);
    Structure structure;
    structure.title = titleOf(record);
    structure.fields = std::move(table.fields);
    structure.mapNumbers = unlessNone(table.mapNumbers);
    structure.hasIsotopes = table.hasIsotopes;
    structure.radicals = unlessNone(table.unpaired);
    if (drawnBonds) {
        structure.bonds = std::move(table.bonds);
        for (std::size_t i = 0; i < structure.bonds.size(); ++i) {
            auto &type = structure.bonds[i].type;
            checkDrawnType(type, i);
            if (type == mdlAromaticType) type = aromaticType;
        }
        structure.aromaticRings = aromaticRings(table.atoms, structure.bonds, table.hydrogens);
    }
    structure.atoms = std::move(table.atoms);
    return structure;
}

Record readMdl(const InputFile &file, const RecordPlace &place, std::size_t number,
               BondSource source) {
    const auto record = mdlRecordAt(file, place);
    const bool drawnBonds = source != BondSource::coordinates;
    return finishedRecord({file.path(), number, titleLine(record)}, source, drawnBonds,
                          [&] { return readMdlRecord(drawnBonds, record); });
}

// ---- XYZ files: record by record --------------------------------------------------------------

Record readXyz(const InputFile &file, const RecordPlace &place, std::size_t number,
               BondSource source) {
    const auto text = file.bytes(place.offset, place.size);
    const auto record = xyzRecordIn(text, place.firstLine);
    const auto title = oneLine(record.title);
    const Place where{file.path(), number, title};
    if (!record.fault.empty()) throw Error(record.fault).at(where);
    return finishedRecord(where, source, false, [&] {
        Structure structure;
        structure.title = title;
        structure.atoms = readXyzAtoms(record);
        structure.hasIsotopes = namesIsotopes(record);
        const auto told = electronsInTitle(title);
        structure.charge = told.charge;
        structure.unpaired = told.unpaired;
        return structure;
    });
}

// ---- other formats: by Open Babel -------------------------------------------------------------

} // namespace

Structure structureFrom(const babel::Molecule &molecule) {
    Structure structure;
    structure.title = oneLine(molecule.title);
    for (const auto &[name, value] : molecule.dataFields)
        structure.fields.emplace(name, value);
    std::vector<int> numbers, unpaired;
    for (const auto &atom : molecule.atoms) {
        const auto &[x, y, z] = atom.position;
        structure.atoms.push_back({atom.element, atom.charge, {x, y, z}});
        if (atom.isotope != 0) structure.hasIsotopes = true;
        numbers.push_back(atom.mapNumber);
        unpaired.push_back(std::max(atom.spin - 1, 0));
    }
    structure.radicals = unlessNone(unpaired);
    if (molecule.tellsCharge) structure.charge = molecule.charge;
    if (molecule.spin > 0) structure.unpaired = molecule.spin - 1;
    checkAtoms(structure.atoms);
    structure.mapNumbers = unlessNone(numbers);
    for (const auto &bond : molecule.bonds)
        structure.bonds.push_back({bond.atom1, bond.atom2, bond.order});
    for (const auto &ring : molecule.aromaticRings)
        structure.aromaticRings.emplace_back(ring.begin(), ring.end());
    return structure;
}

namespace {

[[noreturn]] void failReading(const std::string &path, std::size_t record,
                              const BabelRefusal &refusal) {
    using enum babel::FailureKind;
    const auto &failure = refusal.failure();
    switch (failure.kind) {
    case unknownFormat:
        throw Error("Open Babel knows no format of this name; use one such as .sdf, .mol2 or .xyz "
                    "(\"obabel -L formats\" lists them)")
            .at({path})
            .with(Remedy::inputFormat);
    case notReadable:
        throw Error("Open Babel writes this format but does not read it; convert the file "
                    "to SDF with the program that made it")
            .at({path});
    case brokenInput:
        throw Error("the record is broken: " + failure.text)
            .at({path, record, oneLine(failure.title)});
    default:
        throw Error(refusal).at({path, record});
    }
}

std::vector<Record> readForeignFile(const InputFile &file, const std::string &format,
                                    BondSource source) {
    const auto &path = file.path();
    std::vector<babel::Molecule> molecules;
    babel::ReadEnd end;
    try {
        end = sharedBabel().read({path, file.rest(), source != BondSource::coordinates, format},
                                 [&](babel::Molecule one) { molecules.push_back(std::move(one)); });
    } catch (const BabelRefusal &refusal) {
        failReading(path, molecules.size() + 1, refusal);
    } catch (const Error &error) {
        throw error.at({path, molecules.size() + 1});
    }
    const bool isSide = source == BondSource::format || source == BondSource::formatOnly;
    std::vector<Record> records;
    for (auto &molecule : molecules) {
        const Place where{path, records.size() + 1, oneLine(molecule.title)};
        records.push_back(finishedRecord(where, source, end.hasBonds, [&] {
            if (end.isSmiles) prepareSmiles(molecule, isSide);
            return structureFrom(molecule);
        }));
    }
    return records;
}

// ---- the file -----------------------------------------------------------------------------------

/// xtb and other programs write files for Turbomole that are called so.
bool isCoordFile(const std::string &path) {
    return extensionOf(path) == "coord" || path.substr(path.rfind('/') + 1) == "coord";
}

/// Of programs that call whatever they print so. Trajectories of xtb are XYZ files, and its
/// vibrations, like those of other programs, are written as Gaussian writes them.
std::string formatOfOutput(const InputFile &file, const std::string &extension) {
    const auto text = file.rest();
    if (countsAtoms(text.substr(0, text.find('\n')))) return "xyz";
    return text.starts_with(" Entering Gaussian System") ? "g09" : extension;
}

/// By the extension, or as it is told for a file without one.
std::string formatOf(const InputFile &file, const std::string &path, const std::string &told) {
    const auto extension = extensionOf(path);
    if (isCoordFile(path)) return "tmol";
    if (extension == "log" || extension == "out") return formatOfOutput(file, extension);
    if (extension.empty() && !told.empty()) return told;
    if (path == standardInput) {
        throw Error("its format is not known").at({file.path()}).with(Remedy::inputFormat);
    }
    return extension.empty() ? path.substr(path.rfind('/') + 1) : extension; // such as POSCAR
}

bool isOneOf(const std::string &extension, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), extension) != names.end();
}

} // namespace

std::string extensionOf(const std::string &path) {
    auto name = path.substr(path.rfind('/') + 1);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (name.ends_with(".gz")) name.resize(name.size() - 3);
    const auto point = name.rfind('.');
    return point == std::string::npos ? "" : name.substr(point + 1);
}

const Structure &structureOf(const Record &record) {
    if (const auto *error = std::get_if<Error>(&record)) throw *error;
    return std::get<Structure>(record);
}

std::string titleOf(const Structure &structure, std::size_t index) {
    return structure.title.empty() ? "record " + std::to_string(index + 1) : structure.title;
}

RecordFile::RecordFile(const std::string &path, BondSource source, const std::string &format)
    : file_(std::in_place, path), source_(source) {
    const auto known = formatOf(*file_, path, format);
    if (isOneOf(known, {"sdf", "sd", "mol", "mdl"})) {
        readOne_ = readMdl;
        places_ = placesOfMdlRecords(*file_);
    } else if (known == "xyz") {
        readOne_ = readXyz;
        places_ = placesOfXyzRecords(*file_);
        // Faults of counts are told at once; there can be one in the last place only.
        if (!places_.empty()) read(places_.size() - 1);
    } else {
        records_ = readForeignFile(*file_, known, source);
    }
    if (count() > 0) return;
    throw Error("no structure was found in it; is it of the format that its extension says?")
        .at({file_->path()});
}

Record RecordFile::read(std::size_t index) const {
    return readOne_ ? readOne_(*file_, places_[index], index + 1, source_) : records_[index];
}

std::vector<Record> readRecords(const std::string &path, BondSource source,
                                const std::string &format) {
    const RecordFile file(path, source, format);
    std::vector<Record> records;
    for (std::size_t i = 0; i < file.count(); ++i)
        records.push_back(file.read(i));
    return records;
}

} // namespace saddlefit::host
