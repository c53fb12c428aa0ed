/// The block heap: what is written into blocks stays there, and no two blocks in use share a byte,
/// whatever is allocated, moved and freed; and any bytes as a file, with any handles, do no harm.
#include "saddlefit/database.h"

#include "tests/fuzz/bytes.hpp"

#include <map>

using namespace saddlefit;
using namespace saddlefit::fuzz;

namespace {

constexpr std::uint32_t usualSize = 4096;

std::uint32_t size(Bytes &bytes) {
    const int choice = bytes.byte();
    return static_cast<std::uint32_t>(choice < 200 ? choice : choice * 256 + bytes.byte()) %
           usualSize;
}

/// A heap that nobody else writes to.
class Heap {
public:
    explicit Heap(std::FILE *stream) : stream_(stream) {}

    void step(Bytes &bytes) {
        const int choice = bytes.below(8);
        if (choice < 3) return allocate(size(bytes));
        if (blocks_.empty()) return;
        const auto chosen =
            std::next(blocks_.begin(), bytes.below(static_cast<int>(blocks_.size())));
        choice < 5 ? release(chosen) : move(chosen, size(bytes));
    }

    void requireContents() {
        std::uint32_t end = 0;
        for (const auto &[handle, contents] : blocks_) {
            require(handle >= end + 5, "a block's header lies behind the block before");
            end = handle + static_cast<std::uint32_t>(contents.size());
            require(read(handle, contents.size()) == contents, "blocks keep what is written");
        }
    }

private:
    using Contents = std::vector<std::uint8_t>;
    using Blocks = std::map<std::uint32_t, Contents>;

    Contents read(std::uint32_t handle, std::size_t count) {
        Contents contents(count);
        const auto items = static_cast<std::uint32_t>(count);
        require(Fread(contents.data(), 1, items, static_cast<std::int32_t>(handle), stream_),
                "a block can be read");
        return contents;
    }
    void write(std::uint32_t handle, const Contents &contents) {
        const auto items = static_cast<std::uint32_t>(contents.size());
        require(Fwrite(contents.data(), 1, items, static_cast<std::int32_t>(handle), stream_),
                "a block can be written");
    }
    void allocate(std::uint32_t size) {
        const auto handle = Fmalloc(size, stream_);
        require(handle >= 5 && !blocks_.contains(handle), "a new block is nobody else's");
        write(handle, blocks_[handle] = Contents(size, static_cast<std::uint8_t>(++writes_)));
    }
    void release(Blocks::iterator block) {
        require(Ffree(block->first, stream_), "a block in use can be freed");
        require(!Ffree(block->first, stream_), "but once only");
        blocks_.erase(block);
    }
    void move(Blocks::iterator block, std::uint32_t bytes) {
        auto contents = block->second;
        const auto moved = Frealloc(block->first, bytes, stream_);
        require(moved, "a block can grow");
        contents.resize(std::min(contents.size(), std::size_t{bytes}));
        require(read(moved, contents.size()) == contents, "a block takes its bytes along");
        blocks_.erase(block);
        contents.resize(bytes, static_cast<std::uint8_t>(++writes_));
        write(moved, blocks_[moved] = contents);
    }

    std::FILE *stream_;
    Blocks blocks_;
    int writes_ = 0;
};

/// Handles and offsets of anybody's invention.
void useBadly(std::FILE *stream, Bytes &bytes) {
    std::array<std::uint8_t, 64> items{};
    while (!bytes.empty()) {
        const auto handle = bytes.flag() ? static_cast<std::uint32_t>(bytes.byte()) : bytes.word();
        const auto offset = static_cast<std::int32_t>(handle);
        const auto itemSize = 1 + static_cast<std::uint32_t>(bytes.below(8));
        BlockHeader header{};
        switch (bytes.below(5)) {
        case 0:
            require(Ffree(handle, stream) <= 1, "freed or not");
            break;
        case 1: // to copy gigabytes that a header claims takes time
            if (offset < 5 || std::fseek(stream, offset - 5, SEEK_SET) != 0) break;
            if (!ReadHeader(&header, stream) || header.size > usualSize) break;
            Frealloc(handle, size(bytes), stream);
            break;
        case 2:
            Fmalloc(bytes.flag() ? bytes.word() : size(bytes), stream);
            break;
        case 3:
            require(offset >= 0 || !Fread(items.data(), itemSize, 8, offset, stream),
                    "before the file there is nothing");
            break;
        default:
            if (offset < 1 << 20) Fwrite(items.data(), itemSize, 8, offset, stream);
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const ScratchFile file;
    silence();
    Bytes bytes(data, size);
    const bool given = bytes.flag();
    file.write(given ? bytes.rest().first(std::min<std::size_t>(128, bytes.rest().size()))
                     : std::span<const std::uint8_t>());
    std::FILE *stream = std::fopen(file.path(), "r+b");
    require(stream, "the file can be opened");
    if (given) {
        useBadly(stream, bytes);
    } else {
        Heap heap(stream);
        while (!bytes.empty())
            heap.step(bytes);
        heap.requireContents();
    }
    require(std::fclose(stream) == 0, "the file can be closed");
    return 0;
}
