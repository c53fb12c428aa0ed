/// Structures out of files, in whatever format Open Babel reads.
#pragma once

#include "host/structures/babel_protocol.hpp"
#include "host/structures/record_place.hpp"
#include "host/structures/structure.hpp"
#include "host/system/error.hpp"
#include "host/system/input_file.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace saddlefit::host {

/// A record is a structure, or the reason why it is none.
using Record = std::variant<Structure, Error>;

/// The structure of a record; throws the reason if there is none.
const Structure &structureOf(const Record &record);

/// What Open Babel told of a molecule. Throws Error for an atom of no element or no finite place.
Structure structureFrom(const babel::Molecule &molecule);

/// What to call a structure in output: its title, or "record 3".
std::string titleOf(const Structure &structure, std::size_t index);

/// What tells the format of a file, in lower case: "sdf" for "X.SDF", and for "X.SDF.gz" as well.
std::string extensionOf(const std::string &path);

/// Where a structure's bonds come from.
enum class BondSource {
    format,            ///< the file; the coordinates where its format has no bonds
    formatOnly,        ///< the file; none where its format has no bonds
    fileOrCoordinates, ///< the record; the coordinates where it names no bond
    coordinates        ///< the coordinates; contacts (type 0) are among them in this case only
};

/// The records of a file, whose format follows from its extension; "-" is the standard input. Of SD
/// and XYZ files only the places of the records are kept, and each record is read when it is asked
/// for; others are read as a whole. Processes that were forked may read from the same one.
///
/// Atoms keep the file's order (those of a SMILES the order of its map numbers), no hydrogens are
/// added, and bonds keep the orders that are drawn in the file: a Kekule structure stays as it is,
/// a bond drawn aromatic in an MDL file becomes type 5 (other formats give aromatic bonds in a
/// Kekule form that Open Babel chooses). Bonds that come from the coordinates are perceived by the
/// library.
class RecordFile {
public:
    /// Throws Error for a file that cannot be read, and for one in which no record can be found
    /// behind a broken one: an XYZ file with a wrong count, any other format than SD and XYZ.
    /// `format` is an extension, for a file that has none.
    explicit RecordFile(const std::string &path, BondSource source = BondSource::format,
                        const std::string &format = {});

    /// What is in memory already.
    explicit RecordFile(std::vector<Record> records) : records_(std::move(records)) {}

    std::size_t count() const { return readOne_ ? places_.size() : records_.size(); }

    /// A broken record is given as such. Throws Error if the file was cut meanwhile.
    Record read(std::size_t index) const;

private:
    using ReadOne = Record (*)(const InputFile &file, const RecordPlace &place, std::size_t number,
                               BondSource source);

    std::optional<InputFile> file_;
    BondSource source_ = BondSource::format;
    ReadOne readOne_ = nullptr; ///< null where all records were read
    std::vector<RecordPlace> places_;
    std::vector<Record> records_;
};

/// Every record of a file, as RecordFile gives them.
std::vector<Record> readRecords(const std::string &path, BondSource source = BondSource::format,
                                const std::string &format = {});

} // namespace saddlefit::host
