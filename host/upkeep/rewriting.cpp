#include "host/upkeep/rewriting.hpp"

#include "host/store/database_writer.hpp"
#include "host/store/survey.hpp"
#include "host/system/error.hpp"
#include "host/system/output_file.hpp"

#include <algorithm>

namespace saddlefit::host {

namespace {

void requireDistinct(const std::vector<std::size_t> &sorted, const std::string &path) {
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    if (twice == sorted.end()) return;
    throw Error(
        ErrorKind::refused,
        "record " + std::to_string(*twice) +
            " is to be removed twice; name each position once, as it was before the removal")
        .at({path});
}

// Each record in a block of exactly its size.
std::string packedBlocks(std::string_view bytes, const std::vector<RecordSpan> &records) {
    std::string blocks;
    for (const auto &record : records) {
        blocks += blockHeader(record.bytes);
        blocks += bytes.substr(record.offset, record.bytes);
    }
    return blocks;
}

} // namespace

std::size_t removeFrom(const std::string &path, std::vector<std::size_t> positions) {
    const auto database = openDatabase(path);
    std::sort(positions.rbegin(), positions.rend());
    requireDistinct(positions, path);
    for (const auto position : positions)
        requirePosition(database, position);
    OutputFile file(path);
    file.copyFromTarget();
    if (!removeRecords(openDatabase(file.path()), positions)) {
        throw Error(ErrorKind::system, "the records cannot be removed; the disk may be full")
            .at({path});
    }
    file.commit();
    return database.records.size() - positions.size();
}

CompactSizes compact(const std::string &path) {
    const auto bytes = databaseBytes(path);
    const auto survey = surveyOf(bytes);
    if (survey.damage) throw damageError(path, survey.damagedRecord, *survey.damage);
    const auto packed = packedBlocks(bytes, survey.records);
    OutputFile file(path);
    file.write(packed);
    file.commit();
    return {survey.records.size(), bytes.size(), packed.size()};
}

} // namespace saddlefit::host
