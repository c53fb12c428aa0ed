#include "host/store/packing.hpp"

#include "host/store/database_file.hpp"
#include "host/system/error.hpp"
#include "host/system/text.hpp"

#include <cstdint>

namespace saddlefit::host {

namespace {

// A record begins with the length of its name, its NUL included, and the name.
std::string withName(std::string_view record, const std::string &name) {
    constexpr std::size_t lengthBytes = 2, longest = 0xFFFF;
    const auto length = name.size() + 1;
    if (length > longest || name.find('\0') != name.npos)
        throw Error(ErrorKind::limit,
                    "\"" + inOneLine(name.substr(0, 60)) +
                        "\": no record can have this name; it may have 65534 bytes and no NUL");
    const auto rest = record.substr(record.find('\0', lengthBytes) + 1);
    std::string bytes{static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)};
    return bytes.append(name).append(1, '\0').append(rest);
}

SideLines renamed(const std::string &path, const RecordIdentity &before,
                  const RecordIdentity &after) {
    SideLines lines(path);
    requireWholeSideFile(path, lines);
    if (auto known = lines.take(before.digest)) {
        known->digest = after.digest;
        known->name = after.name;
        lines.add(*known);
    }
    return lines;
}

} // namespace

std::string packedBlocks(std::string_view bytes, const std::vector<RecordSpan> &records) {
    std::string blocks;
    for (const auto &record : records)
        blocks.append(blockHeader(record.bytes)).append(bytes.substr(record.offset, record.bytes));
    return blocks;
}

void writeDatabase(const std::string &path, const std::string &blocks, const SideLines &sides) {
    OutputFile file(path);
    file.write(blocks);
    commitWithSides(file, path, sides);
}

void renameRecord(const std::string &path, std::size_t position, const std::string &name) {
    const auto bytes = databaseBytes(path);
    const auto survey = surveyOf(bytes);
    if (survey.damage) throw damageError(path, survey.damagedRecord, *survey.damage);
    const auto &records = survey.records;
    const auto at = records.begin() + static_cast<std::ptrdiff_t>(position);
    const auto before = std::string_view(bytes).substr(at->offset, at->bytes);
    const auto after = withName(before, name);
    const auto sides = renamed(path, identityOf(before), identityOf(after));
    writeDatabase(path,
                  packedBlocks(bytes, {records.begin(), at}) + blockHeader(after.size()) + after +
                      packedBlocks(bytes, {at + 1, records.end()}),
                  sides);
}

} // namespace saddlefit::host
