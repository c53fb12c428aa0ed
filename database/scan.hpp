/// Walks over the records of a file from its beginning.
#pragma once

#include "database/byte_source.hpp"
#include "database/format.hpp"
#include "database/open_database.hpp"
#include "database/record_layout.hpp"

#include <limits>
#include <optional>

namespace saddlefit {

/// The greatest offset at which a header is looked for.
constexpr std::int64_t furthestOffset = std::numeric_limits<std::int32_t>::max();

/// A block as its header tells it.
struct FileBlock {
    std::int64_t data = 0; ///< offset of the data area
    std::uint32_t size = 0;
    std::uint8_t status = blockFree;

    std::int64_t header() const { return data - blockHeaderSize; }
    std::int64_t end() const { return data + size; }
};

/// The block whose header stands at an offset; nothing at the end of the file, or beyond reach. As
/// with ReadHeader(), a missing status is 255, and the data then begin where the file ends.
inline std::optional<FileBlock> blockAt(ByteWindow &window, std::int64_t offset) {
    constexpr std::size_t sizeBytes = blockHeaderSize - 1;
    if (offset > furthestOffset) return std::nullopt;
    const Bytes header = window.at(offset, blockHeaderSize);
    if (header.size() < sizeBytes) return std::nullopt;
    const std::uint32_t size = Fields(header).wide(0);
    if (header.size() == sizeBytes) return FileBlock{offset + 4, size, 255};
    return FileBlock{offset + blockHeaderSize, size, header[sizeBytes]};
}

/// Hand the blocks that are not free to a visitor, in file order and counted from 0, until it
/// returns false. The visitor may use the window.
template <class Visit> void forEachUsedBlock(ByteWindow &window, Visit visit) {
    std::uint32_t position = 0;
    std::int64_t offset = 0;
    while (const auto block = blockAt(window, offset)) {
        offset = block->end();
        if (block->status != blockFree && !visit(*block, position++)) return;
    }
}

/// Whether the counts of a block's record fit the block. Where they do not, a few bytes claim
/// megabytes.
bool countsFit(ByteWindow &window, const FileBlock &block);

/// The molecule of a block's record; null if there is no memory.
StoredMolecule moleculeAt(ByteWindow &window, std::int64_t data, std::uint32_t position);

/// What becomes of records whose counts do not fit their block.
enum class Oversized { read, passedOver };

/// Visit the molecules of all records with a code, or of all for null.
void scanRecords(const ByteSource &source, const StoredCode *code, Oversized oversized,
                 const MoleculeVisitor &visit);

} // namespace saddlefit
