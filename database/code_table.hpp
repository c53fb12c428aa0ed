/// A table from transition codes to the records that bear them.
#pragma once

#include "database/byte_source.hpp"
#include "database/record_layout.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace saddlefit {

/// Records by a hash of the beginning of their codes, so that every record with a code is among
/// those found for it, and hardly another.
class CodeTable {
public:
    struct Entry {
        std::uint64_t hash = 0;
        std::uint32_t offset = 0;   ///< of the block's header
        std::uint32_t position = 0; ///< ordinal among the blocks that are not free
    };

    /// Go through a source once; throws std::bad_alloc. A file of more than 8 million records (at
    /// the least length that makes sense, 0.7 GB) gets a table that is of no use.
    CodeTable(const ByteSource &source, std::optional<FileState> state);

    const std::optional<FileState> &state() const { return state_; }
    bool isComplete() const { return isComplete_; }

    /// In file order.
    std::span<const Entry> entriesFor(const StoredCode &code) const;

private:
    static constexpr std::size_t mostEntries = std::size_t{1} << 23;

    std::optional<FileState> state_;
    std::vector<Entry> entries_; ///< by hash, then by offset
    bool isComplete_ = true;
};

} // namespace saddlefit
