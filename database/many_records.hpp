/// Many new records in a file that is walked once.
#pragma once

#include "database/bytes.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace saddlefit {

/// The free blocks of a file, from which the first that is large enough is found without going over
/// all: a tree whose every node knows the largest block below it.
class FreeBlocks {
public:
    struct Block {
        std::int64_t offset = 0; ///< of the header
        std::uint32_t size = 0;
    };

    explicit FreeBlocks(std::vector<Block> inFileOrder);

    /// Take the first block of at least that size; null if there is none. It stands until the next
    /// call.
    const Block *take(std::uint32_t size);

private:
    void setSize(std::size_t leaf, std::int64_t size);

    std::vector<Block> blocks_;
    std::size_t leaves_ = 1; ///< a power of two
    std::vector<std::int64_t> largest_;
};

/// A file, open for records that are stored as writeDB() stores them.
class ManyRecords {
public:
    /// Null if the file cannot be opened, errno telling why. Throws std::bad_alloc.
    static std::unique_ptr<ManyRecords> open(const char *path);
    ~ManyRecords();
    ManyRecords(const ManyRecords &) = delete;
    ManyRecords &operator=(const ManyRecords &) = delete;

    /// Offset of the stored record; 0 if it cannot be stored, errno telling why.
    std::int64_t insert(Bytes record);

    /// Make the block in use at this offset a free one; false, errno telling why, if that fails.
    bool remove(std::int64_t offset);

    /// False, errno telling why, if closing fails.
    bool close();

private:
    ManyRecords(int descriptor, std::vector<FreeBlocks::Block> free, std::int64_t end)
        : descriptor_(descriptor), free_(std::move(free)), end_(end) {}

    bool write(std::int64_t offset, Bytes bytes);
    bool append(Bytes record);

    int descriptor_;
    FreeBlocks free_;
    std::int64_t end_; ///< of the last block
    bool hasFailed_ = false;
};

} // namespace saddlefit
