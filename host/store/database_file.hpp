#pragma once

#include "host/store/stored_record.hpp"
#include "host/system/error.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

/// All bytes of a file that may be a database; throws Error if it cannot be read.
std::string databaseBytes(const std::string &path);

/// A file that may be a database, open for reading; throws Error if it cannot be read.
OpenStore openStoreAt(const std::string &path);

/// A database whose chain of blocks is whole; its records may be damaged.
struct Database {
    std::string path;
    OpenStore file;
    std::vector<StoreBlock> records; ///< the blocks in use; the index is the position

    std::variant<StoredRecord, Damage> read(std::size_t position) const {
        return readRecord(*file, records.at(position));
    }
};

/// Throws Error unless the file exists, can be read, and is laid out as a reaction database:
/// the library itself takes a file that it cannot read for an empty one.
Database openDatabase(const std::string &path);

/// Whether a database has a record, told by its blocks up to the first one in use. Throws Error as
/// openDatabase() does, as far as it reads.
bool holdsRecords(const std::string &path);

/// A record, and where it stands.
struct PlacedRecord {
    StoreBlock block;
    StoredRecord record;
};

/// The record at a position, told by the blocks up to it. Throws Error as openDatabase() does, as
/// far as it reads, and if there is no such record or it is damaged.
PlacedRecord recordIn(const std::string &path, std::size_t position);

/// Throws Error if there is no record at the position.
void requirePosition(const Database &database, std::size_t position);

/// Throws Error if the record is damaged.
StoredRecord recordAt(const Database &database, std::size_t position);

/// Throws Error if structures are about to be written over the database that they come from.
void requireOtherFile(const std::string &output, const std::string &database);

/// "FILE, record 3, offset 120: WHAT", where `record` is a position or nothing.
Error damageError(const std::string &path, std::optional<std::size_t> record, const Damage &damage);

} // namespace saddlefit::host
