#include "host/store/block_scan.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <variant>

namespace saddlefit::host {

namespace {

constexpr std::size_t sizeBytes = 4; // the status follows
constexpr char statusFree = '\0';
constexpr char statusInUse = '\1';

// The library's file offsets are signed 32-bit integers.
constexpr std::size_t lastOffset = std::numeric_limits<std::int32_t>::max();

bool hasHeader(std::string_view file, std::size_t at) {
    return at <= file.size() && file.size() - at >= blockHeaderBytes;
}

std::variant<Block, Damage> readHeader(std::string_view file, std::size_t at) {
    if (!hasHeader(file, at)) {
        return Damage{at, "the file ends inside the header of a block"};
    }
    const char status = file[at + sizeBytes];
    const Block block{at, littleEndian(file.substr(at, sizeBytes)), status == statusInUse};
    if (status != statusFree && status != statusInUse) {
        return Damage{at + sizeBytes, "the status of a block is " +
                                          std::to_string(static_cast<unsigned char>(status)) +
                                          "; 0 and 1 are possible"};
    }
    if (block.end() > file.size()) {
        return Damage{at, "a block of " + std::to_string(block.size) +
                              " bytes reaches beyond the end of the file"};
    }
    if (block.end() > lastOffset) {
        return Damage{at, "a block lies beyond the first 2 GiB, where no search comes"};
    }
    return block;
}

class Surveyor {
public:
    explicit Surveyor(std::string_view file) : file_(file) {}

    Survey survey() {
        for (std::size_t at = 0; at < file_.size();)
            at = surveyBlock(at);
        return std::move(result_);
    }

private:
    // Each returns the offset to go on at.
    std::size_t surveyBlock(std::size_t at);
    std::size_t surveyFreeBlock(const Block &block);
    std::size_t surveyUsedBlock(const Block &block);
    std::size_t resumeBehind(std::size_t at);

    std::optional<StoredRecord> recordInBrokenBlock(std::size_t at) const;
    std::size_t findRecord(std::size_t from, std::size_t to) const;
    void note(const Damage &damage, std::optional<std::size_t> position);
    void noteOverlap(const Block &block, std::size_t other, std::optional<std::size_t> position);

    std::string_view file_;
    Survey result_;
};

std::size_t Surveyor::surveyBlock(std::size_t at) {
    const auto header = readHeader(file_, at);
    if (const auto *block = std::get_if<Block>(&header)) {
        return block->inUse ? surveyUsedBlock(*block) : surveyFreeBlock(*block);
    }
    const bool isFree = hasHeader(file_, at) && file_[at + sizeBytes] == statusFree;
    note(std::get<Damage>(header), isFree ? std::nullopt : std::optional(result_.records.size()));
    return resumeBehind(at);
}

std::size_t Surveyor::surveyFreeBlock(const Block &block) {
    const auto other = findRecord(block.dataOffset(), block.end());
    if (other < block.end()) {
        noteOverlap(block, other, std::nullopt);
        result_.passedOver += other - block.offset;
        return other;
    }
    ++result_.freeBlocks;
    result_.freeBytes += block.size;
    return block.end();
}

std::size_t Surveyor::surveyUsedBlock(const Block &block) {
    const auto reading = readRecord(block.dataIn(file_), block.dataOffset());
    const auto position = result_.records.size();
    if (const auto *damage = std::get_if<Damage>(&reading)) {
        note(*damage, position);
        return resumeBehind(block.offset);
    }
    const RecordSpan span{block.dataOffset(), std::get<StoredRecord>(reading).bytes};
    result_.records.push_back(span);
    const auto slackAt = span.offset + span.bytes;
    const auto other = findRecord(slackAt, block.end());
    if (other < block.end()) {
        noteOverlap(block, other, position);
        result_.passedOver += other - slackAt;
        return other;
    }
    result_.slackBytes += block.end() - slackAt;
    return block.end();
}

std::size_t Surveyor::resumeBehind(std::size_t at) {
    if (const auto record = recordInBrokenBlock(at)) {
        result_.records.push_back({at + blockHeaderBytes, record->bytes});
        return at + blockHeaderBytes + record->bytes;
    }
    const auto next = findRecord(at + 1, file_.size());
    result_.passedOver += next - at;
    return next;
}

// A wrong size hides where the block ends, so only the code, which is computed from the last part
// of the record, tells whether the counts before it can be trusted.
std::optional<StoredRecord> Surveyor::recordInBrokenBlock(std::size_t at) const {
    if (!hasHeader(file_, at) || file_[at + sizeBytes] == statusFree) return std::nullopt;
    const auto dataAt = at + blockHeaderBytes;
    auto reading = readRecord(file_.substr(dataAt), dataAt);
    auto *record = std::get_if<StoredRecord>(&reading);
    if (record == nullptr) return std::nullopt;
    const bool sizeFits = littleEndian(file_.substr(at, sizeBytes)) == record->bytes;
    if (!sizeFits && record->transitions.empty()) return std::nullopt;
    return std::move(*record);
}

// The first offset from `from` on, before `to`, where a block with a sound record begins; `to` if
// there is none. Free blocks are no landmark: five bytes that look like one are anywhere.
std::size_t Surveyor::findRecord(std::size_t from, std::size_t to) const {
    for (auto status = file_.find(statusInUse, from + sizeBytes);
         status != std::string_view::npos && status - sizeBytes < to;
         status = file_.find(statusInUse, status + 1)) {
        const auto header = readHeader(file_, status - sizeBytes);
        const auto *block = std::get_if<Block>(&header);
        if (block == nullptr) continue;
        const auto reading = readRecord(block->dataIn(file_), block->dataOffset());
        if (std::holds_alternative<StoredRecord>(reading)) return block->offset;
    }
    return to;
}

void Surveyor::note(const Damage &damage, std::optional<std::size_t> position) {
    if (result_.damage) return;
    result_.damage = damage;
    result_.damagedRecord = position;
}

void Surveyor::noteOverlap(const Block &block, std::size_t other,
                           std::optional<std::size_t> position) {
    note({block.offset, "a block of " + std::to_string(block.size) +
                            " bytes takes in the whole block at offset " + std::to_string(other)},
         position);
}

} // namespace

std::string blockHeader(std::size_t size) {
    std::string header;
    for (std::size_t i = 0; i < sizeBytes; ++i)
        header += static_cast<char>(size >> (8 * i) & 0xFF);
    return header + statusInUse;
}

Chain walkChain(std::string_view file) {
    Chain chain;
    for (std::size_t at = 0; at < file.size() && !chain.damage;) {
        const auto header = readHeader(file, at);
        if (const auto *block = std::get_if<Block>(&header)) {
            chain.blocks.push_back(*block);
            at = block->end();
        } else {
            chain.damage = std::get<Damage>(header);
        }
    }
    return chain;
}

Survey surveyFile(std::string_view file) {
    return Surveyor(file).survey();
}

} // namespace saddlefit::host
