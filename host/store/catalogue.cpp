#include "host/store/catalogue.hpp"

#include "host/store/identity.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <utility>

namespace saddlefit::host {

namespace {

SideLines linesBeside(const std::string &database) {
    try {
        return SideLines(database);
    } catch (const Error &) { // what a reader has no need of
        return {};
    }
}

// The first line of the record in a block.
std::optional<SideRecord> knownOf(const SideLines &lines, const RecordBytes &file,
                                  const StoreBlock &block, const StoredRecord &record) {
    if (lines.empty()) return std::nullopt;
    const auto offset = static_cast<std::size_t>(block.data);
    return lines.find(digestOf(file.at(offset, record.bytes)));
}

} // namespace

Catalogue::Catalogue(const std::string &path)
    : database_(openDatabase(path)), file_(path), lines_(linesBeside(path)) {}

CatalogueEntry entryIn(const std::string &path, std::size_t position) {
    auto placed = recordIn(path, position);
    auto known = knownOf(linesBeside(path), RecordBytes(path), placed.block, placed.record);
    return {std::move(placed.record), std::move(known)};
}

CatalogueEntry Catalogue::entryOf(std::size_t position, StoredRecord record) const {
    auto known = knownOf(lines_, file_, database_.records.at(position), record);
    return {std::move(record), std::move(known)};
}

std::variant<CatalogueEntry, Damage> Catalogue::read(std::size_t position) const {
    auto reading = database_.read(position);
    if (auto *damage = std::get_if<Damage>(&reading)) return *damage;
    return entryOf(position, std::move(std::get<StoredRecord>(reading)));
}

CatalogueEntry Catalogue::at(std::size_t position) const {
    return entryOf(position, recordAt(database_, position));
}

std::size_t Catalogue::positionOf(const std::string &name) const {
    std::vector<std::size_t> found;
    for (std::size_t position = 0; position < count(); ++position) {
        const auto reading = database_.read(position);
        const auto *record = std::get_if<StoredRecord>(&reading);
        if (record != nullptr && record->name == name) found.push_back(position);
    }
    const auto called = " called \"" + inOneLine(name) + "\"";
    if (found.empty())
        throw Error("no record is" + called).at({database_.path}).with(Remedy::listDatabase);
    if (found.size() == 1) return found.front();
    throw Error(std::to_string(found.size()) + " records are" + called +
                ", the first at position " + std::to_string(found.front()) + "; name the position")
        .at({database_.path});
}

} // namespace saddlefit::host
