#include "database/survey.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace saddlefit {

namespace {

constexpr std::int64_t statusAt = blockHeaderSize - 1;

/// Bytes that are searched for the next block at once.
constexpr std::size_t searchedPiece = 65536;

bool hasHeader(const StrictFile &file, std::int64_t at) {
    return at <= file.length - std::int64_t{blockHeaderSize};
}

std::int64_t lengthOf(const SoundRecord &record) {
    return static_cast<std::int64_t>(record.layout.length());
}

class Surveyor {
public:
    explicit Surveyor(StrictFile &file) : file_(file) {}

    Survey survey() {
        for (std::int64_t at = 0; at < file_.length;)
            at = surveyBlock(at);
        return std::move(result_);
    }

private:
    // Each returns the offset to go on at.
    std::int64_t surveyBlock(std::int64_t at);
    std::int64_t surveyFreeBlock(const FileBlock &block);
    std::int64_t surveyUsedBlock(const FileBlock &block);
    std::int64_t resumeBehind(std::int64_t at);

    std::variant<SoundRecord, Damage> recordOf(const FileBlock &block) {
        return readStrictly(file_.window, block.data, block.size, file_.codeOf);
    }
    std::uint8_t statusOf(std::int64_t block) {
        return file_.window.at(block + statusAt, 1).front();
    }
    std::optional<std::int64_t> lengthInBrokenBlock(std::int64_t at);
    std::int64_t nextUsedStatus(std::int64_t from, std::int64_t to);
    std::int64_t findRecord(std::int64_t from, std::int64_t to);
    void note(const Damage &damage, std::optional<std::size_t> position);
    void noteOverlap(const FileBlock &block, std::int64_t other,
                     std::optional<std::size_t> position);

    StrictFile &file_;
    Survey result_;
};

std::int64_t Surveyor::surveyBlock(std::int64_t at) {
    const auto header = strictBlockAt(file_, at);
    if (const auto *block = std::get_if<FileBlock>(&header))
        return block->status == blockInUse ? surveyUsedBlock(*block) : surveyFreeBlock(*block);
    const bool isFree = hasHeader(file_, at) && statusOf(at) == blockFree;
    note(*std::get_if<Damage>(&header),
         isFree ? std::nullopt : std::optional(result_.records.size()));
    return resumeBehind(at);
}

std::int64_t Surveyor::surveyFreeBlock(const FileBlock &block) {
    const std::int64_t other = findRecord(block.data, block.end());
    if (other < block.end()) {
        noteOverlap(block, other, std::nullopt);
        result_.passedOver += other - block.header();
        return other;
    }
    ++result_.freeBlocks;
    result_.freeBytes += block.size;
    return block.end();
}

std::int64_t Surveyor::surveyUsedBlock(const FileBlock &block) {
    const auto reading = recordOf(block);
    const std::size_t position = result_.records.size();
    if (const auto *damage = std::get_if<Damage>(&reading)) {
        note(*damage, position);
        return resumeBehind(block.header());
    }
    const RecordSpan span{block.data, lengthOf(*std::get_if<SoundRecord>(&reading))};
    result_.records.push_back(span);
    const std::int64_t slackAt = span.offset + span.length;
    const std::int64_t other = findRecord(slackAt, block.end());
    if (other < block.end()) {
        noteOverlap(block, other, position);
        result_.passedOver += other - slackAt;
        return other;
    }
    result_.slackBytes += block.end() - slackAt;
    return block.end();
}

std::int64_t Surveyor::resumeBehind(std::int64_t at) {
    if (const auto length = lengthInBrokenBlock(at)) {
        const std::int64_t data = at + blockHeaderSize;
        result_.records.push_back({data, *length});
        return data + *length;
    }
    const std::int64_t next = findRecord(at + 1, file_.length);
    result_.passedOver += next - at;
    return next;
}

/// A wrong size hides where the block ends, so only the code, which is computed from the last part
/// of the record, tells whether the counts before it can be trusted.
std::optional<std::int64_t> Surveyor::lengthInBrokenBlock(std::int64_t at) {
    if (!hasHeader(file_, at) || statusOf(at) == blockFree) return std::nullopt;
    const std::int64_t size = Fields(file_.window.at(at, blockHeaderSize)).wide(0);
    const std::int64_t data = at + blockHeaderSize;
    const auto reading = readStrictly(file_.window, data,
                                      static_cast<std::size_t>(file_.length - data), file_.codeOf);
    const auto *record = std::get_if<SoundRecord>(&reading);
    if (!record) return std::nullopt;
    if (size != lengthOf(*record) && record->layout.transitions == 0) return std::nullopt;
    return lengthOf(*record);
}

/// The first offset from `from` on, before `to`, with the status of a block in use; `to` if there
/// is none. Nothing behind `to` is looked at: a file may consist of blocks that are all searched.
std::int64_t Surveyor::nextUsedStatus(std::int64_t from, std::int64_t to) {
    while (from < to) {
        Bytes piece = file_.window.at(from, 1);
        const auto wanted = std::min(searchedPiece, static_cast<std::size_t>(to - from));
        piece = piece.first(std::min(piece.size(), wanted));
        const auto found = std::ranges::find(piece, blockInUse);
        if (found != piece.end()) return from + (found - piece.begin());
        if (piece.empty()) break;
        from += static_cast<std::int64_t>(piece.size());
    }
    return to;
}

/// The first offset from `from` on, before `to`, where a block with a sound record begins; `to` if
/// there is none. Free blocks are no landmark: five bytes that look like one are anywhere.
std::int64_t Surveyor::findRecord(std::int64_t from, std::int64_t to) {
    const std::int64_t last = std::min(to + statusAt, file_.length);
    for (std::int64_t status = from + statusAt; status < last; ++status) {
        status = nextUsedStatus(status, last);
        const std::int64_t at = status - statusAt;
        if (status >= last) break;
        const auto header = strictBlockAt(file_, at);
        const auto *block = std::get_if<FileBlock>(&header);
        if (block && std::holds_alternative<SoundRecord>(recordOf(*block))) return at;
    }
    return to;
}

void Surveyor::note(const Damage &damage, std::optional<std::size_t> position) {
    if (result_.damage) return;
    result_.damage = damage;
    result_.damagedRecord = position;
}

void Surveyor::noteOverlap(const FileBlock &block, std::int64_t other,
                           std::optional<std::size_t> position) {
    note({block.header(), "a block of " + std::to_string(block.size) +
                              " bytes takes in the whole block at offset " + std::to_string(other)},
         position);
}

} // namespace

std::variant<FileBlock, Damage> strictBlockAt(StrictFile &file, std::int64_t offset) {
    if (!hasHeader(file, offset))
        return Damage{offset, "the file ends inside the header of a block"};
    const Bytes header = file.window.at(offset, blockHeaderSize);
    if (header.size() < blockHeaderSize)
        return Damage{offset, "the file cannot be read to the end of a block's header"};
    const FileBlock block{offset + blockHeaderSize, Fields(header).wide(0), header[statusAt]};
    if (block.status != blockFree && block.status != blockInUse)
        return Damage{offset + statusAt, "the status of a block is " +
                                             std::to_string(block.status) +
                                             "; 0 and 1 are possible"};
    if (block.end() > file.length)
        return Damage{offset, "a block of " + std::to_string(block.size) +
                                  " bytes reaches beyond the end of the file"};
    if (block.end() > furthestOffset)
        return Damage{offset, "a block lies beyond the first 2 GiB, where no search comes"};
    return block;
}

Survey surveyed(StrictFile &file) {
    return Surveyor(file).survey();
}

} // namespace saddlefit
