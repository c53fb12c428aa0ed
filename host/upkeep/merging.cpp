#include "host/upkeep/merging.hpp"

#include "host/store/identity.hpp"
#include "host/store/record_bytes.hpp"
#include "host/system/error.hpp"
#include "host/upkeep/stored_question.hpp"

namespace saddlefit::host {

namespace {

void requireAnother(const std::string &other, const std::string &database) {
    if (resolvedTarget(other) != resolvedTarget(database)) return;
    throw Error(ErrorKind::refused, "a database cannot be merged with itself; name another one")
        .at({other});
}

} // namespace

MergeCounts Merging::take(const std::string &other) {
    requireAnother(other, database_);
    const auto source = openDatabase(other);
    const RecordBytes file(other);
    const SideLines lines(other);
    MergeCounts counts;
    for (std::size_t position = 0; position < source.records.size(); ++position) {
        const auto reading = source.read(position);
        if (const auto *damage = std::get_if<Damage>(&reading)) {
            counts.damage.push_back(damageError(other, position, *damage));
            continue;
        }
        const auto &record = std::get<StoredRecord>(reading);
        const auto reaction = reactionOf(record, other);
        if (index_.find(record, reaction)) {
            ++counts.known;
            continue;
        }
        const auto offset = static_cast<std::size_t>(source.records[position].data);
        const auto bytes = file.at(offset, record.bytes);
        writer_.place(bytes);
        index_.add(record, bytes);
        if (const auto known = lines.find(digestOf(bytes))) writer_.note(*known);
        ++counts.stored;
    }
    return counts;
}

} // namespace saddlefit::host
