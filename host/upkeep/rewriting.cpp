#include "host/upkeep/rewriting.hpp"

#include "host/store/database_writer.hpp"
#include "host/store/packing.hpp"
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
        .at({path})
        .with(Remedy::listDatabase);
}

} // namespace

std::size_t removeFrom(const std::string &path, std::vector<std::size_t> positions) {
    const auto database = openDatabase(path);
    std::sort(positions.rbegin(), positions.rend());
    requireDistinct(positions, path);
    for (const auto position : positions)
        requirePosition(database, position);
    const SideLines sides(path);
    requireWholeSideFile(path, sides);
    OutputFile file(path);
    file.copyFromTarget();
    if (!removeRecords(openDatabase(file.path()), positions)) {
        throw Error(ErrorKind::system, "the records cannot be removed; the disk may be full")
            .at({path});
    }
    commitWithSides(file, path, sides);
    return database.records.size() - positions.size();
}

CompactSizes compact(const std::string &path) {
    const auto bytes = databaseBytes(path);
    const auto survey = surveyOf(bytes);
    if (survey.damage) throw damageError(path, survey.damagedRecord, *survey.damage);
    const SideLines sides(path);
    requireWholeSideFile(path, sides);
    const auto packed = packedBlocks(bytes, survey.records);
    writeDatabase(path, packed, sides);
    return {survey.records.size(), bytes.size(), packed.size()};
}

} // namespace saddlefit::host
