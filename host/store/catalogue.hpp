/// A database with what stands beside it.
#pragma once

#include "host/store/database_file.hpp"
#include "host/store/record_bytes.hpp"
#include "host/store/side_file.hpp"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace saddlefit::host {

struct CatalogueEntry {
    StoredRecord record;
    std::optional<SideRecord> known;
};

/// The record at a position, told by the blocks up to it: see recordIn().
CatalogueEntry entryIn(const std::string &path, std::size_t position);

class Catalogue {
public:
    /// Throws Error as openDatabase() does. What stands beside it may be missing or unreadable.
    explicit Catalogue(const std::string &path);

    const Database &database() const { return database_; }
    std::size_t count() const { return database_.records.size(); }

    std::variant<CatalogueEntry, Damage> read(std::size_t position) const;

    /// Throws Error if the record is damaged.
    CatalogueEntry at(std::size_t position) const;

    /// The position of the single record of that name. Throws Error if there is none, or several.
    std::size_t positionOf(const std::string &name) const;

private:
    CatalogueEntry entryOf(std::size_t position, StoredRecord record) const;

    Database database_;
    RecordBytes file_;
    SideLines lines_;
};

} // namespace saddlefit::host
