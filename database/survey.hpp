/// The blocks of a file read strictly, and what can be read of a file whose chain of blocks is
/// broken.
#pragma once

#include "database/strict_record.hpp"

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace saddlefit {

/// A file that is read strictly: its bytes, and where they end.
struct StrictFile {
    ByteWindow window;
    std::int64_t length;
    CodeOf codeOf;

    StrictFile(const ByteSource &source, CodeOf code)
        : window(source), length(source.length()), codeOf(code) {}
};

/// The block whose header stands before the end of the file.
std::variant<FileBlock, Damage> strictBlockAt(StrictFile &file, std::int64_t offset);

struct RecordSpan {
    std::int64_t offset = 0; ///< of the record in the file, behind its block's header
    std::int64_t length = 0; ///< without slack
};

struct Survey {
    std::vector<RecordSpan> records; ///< sound ones, in file order
    std::int64_t freeBlocks = 0, freeBytes = 0, slackBytes = 0;
    std::int64_t passedOver = 0;              ///< bytes in which nothing could be read
    std::optional<Damage> damage;             ///< the first
    std::optional<std::size_t> damagedRecord; ///< position of the record that it is in, if any
};

/// Read every block and record. Behind damage, go on at the next offset where a block in use with a
/// sound record begins. A record in a block with a damaged header counts as sound if it is whole
/// and, where the size is wrong, its transition code vouches for its counts. Throws std::bad_alloc.
Survey surveyed(StrictFile &file);

} // namespace saddlefit
