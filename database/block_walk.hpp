/// Walks over many small blocks with few stream calls.
#pragma once

#include "saddlefit/database.h"

#include "database/bytes.hpp"
#include "database/format.hpp"
#include "database/stream.hpp"
#include "molecule/memory.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

namespace saddlefit {

/// What the bytes of a block tell a visitor, as far as they are at hand.
enum class Look {
    passOver, ///< on to the next block
    stop,     ///< this is one to be read from the stream
    cutOff    ///< more bytes are needed to tell
};

/// Blocks of at least this size are better sought one by one: for each seek, a stream reads about
/// as many bytes.
constexpr std::int64_t seekWorthSize = 16384;

/// A piece of the file, from a block's header on.
class BlockWindow {
public:
    BlockWindow(std::FILE *stream, std::int64_t offset)
        : bytes_(static_cast<unsigned char *>(std::malloc(largestWindow))),
          stream_(stream),
          offset_(offset) {}

    std::int64_t offset() const { return offset_; }

    /// Pass over blocks as long as the visitor says so and the walk pays.
    template <class Visit> void walk(Visit visit) {
        while (fill()) {
            const Walked walked = walkWindow(visit);
            advance(walked.bytes);
            if (walked.stopped || walked.blocks * seekWorthSize < walked.bytes) return;
        }
    }

private:
    /// Windows grow, so that a short walk does not read far ahead.
    static constexpr std::size_t firstWindow = 4096, largestWindow = 65536;

    struct Walked {
        std::int64_t bytes = 0, blocks = 0;
        bool stopped = false;
    };

    /// False if there is no room or the file has no more bytes.
    bool fill() {
        if (!bytes_ || length_ == largestWindow) return false;
        capacity_ = capacity_ ? std::min(2 * capacity_, largestWindow) : firstWindow;
        const std::size_t read =
            std::fread(bytes_.get() + length_, 1, capacity_ - length_, stream_);
        length_ += read;
        return read > 0;
    }

    template <class Visit> Walked walkWindow(Visit &visit) {
        const Bytes window(bytes_.get(), length_);
        Walked walked;
        for (std::size_t at = 0; at + blockHeaderSize <= length_;) {
            const Bytes head = window.subspan(at, blockHeaderSize);
            const BlockHeader header{Fields(head).wide(0), head[4]};
            const std::int64_t next = walked.bytes + blockHeaderSize + header.size;
            const Look look = offset_ + next > std::numeric_limits<std::int32_t>::max()
                                  ? Look::stop
                                  : visit(header, window.subspan(at + blockHeaderSize));
            walked.stopped = look == Look::stop;
            if (look != Look::passOver) break;
            walked.bytes = next;
            ++walked.blocks;
            at = static_cast<std::size_t>(next);
        }
        return walked;
    }

    /// Keep what the window holds from there on, or seek what it does not reach.
    void advance(std::int64_t distance) {
        offset_ += distance;
        const std::size_t passed = static_cast<std::size_t>(distance);
        if (passed > length_) {
            length_ = 0;
            seekTo(offset_, stream_);
        } else {
            length_ -= passed;
            std::memmove(bytes_.get(), bytes_.get() + passed, length_);
        }
    }

    OwnedBlock<unsigned char> bytes_;
    std::FILE *stream_;
    std::int64_t offset_; ///< of the window's first byte in the file
    std::size_t length_ = 0, capacity_ = 0;
};

/// Having passed over `passed` bytes to a block that begins at `offset`, where the stream stands,
/// pass over more. The visitor is called with a header and the bytes behind it, up to the window's
/// end; a block that it does not pass over, or cannot tell about, is the first one left. Returns
/// that one's offset, to which the stream has still to be moved.
template <class Visit>
std::int64_t passOverBlocks(std::int64_t passed, std::int64_t offset, std::FILE *stream,
                            Visit visit) {
    if (passed >= seekWorthSize) return offset;
    BlockWindow window(stream, offset);
    window.walk(visit);
    return window.offset();
}

} // namespace saddlefit
