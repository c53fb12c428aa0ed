/// Bytes of a file or of memory by their offset, and a view of them that is read in large pieces.
#pragma once

#include "database/bytes.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <time.h>

namespace saddlefit {

/// What tells one state of a file from another without reading it.
struct FileState {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{}, changed{};
};

bool operator==(const FileState &a, const FileState &b);

/// Either a file, by its descriptor, or bytes that outlive this.
class ByteSource {
public:
    /// Null if the path is null or the file cannot be opened; errno then tells why.
    static std::unique_ptr<ByteSource> open(const char *path);
    explicit ByteSource(Bytes memory) : memory_(memory) {}
    ~ByteSource();
    ByteSource(const ByteSource &) = delete;
    ByteSource &operator=(const ByteSource &) = delete;

    bool inMemory() const { return descriptor_ < 0; }
    Bytes memory() const { return memory_; }

    /// Bytes at hand; of a file that is not a regular one, 0.
    std::int64_t length() const;

    /// Of a regular file only.
    std::optional<FileState> state() const;

    /// Read from a file; fewer bytes than asked for only at its end or where reading fails.
    std::size_t read(std::int64_t offset, unsigned char *into, std::size_t size) const;

    /// The errno of the last reading that failed: what it gave is not the end of the file. 0 if
    /// none did.
    int failure() const { return failure_; }

private:
    explicit ByteSource(int descriptor) : descriptor_(descriptor) {}

    int descriptor_ = -1;
    Bytes memory_;
    mutable std::atomic<int> failure_{0};
};

/// The piece of a source that was looked at last, and some bytes ahead of it: more of them the
/// longer one goes on without leaving anything out.
class ByteWindow {
public:
    explicit ByteWindow(const ByteSource &source)
        : source_(source), view_(source.memory()), start_(0) {}

    /// The bytes from an offset on: `size` or more, fewer only where the source ends. They stand
    /// until the next call. Throws std::bad_alloc.
    Bytes at(std::int64_t offset, std::size_t size) {
        const std::int64_t place = offset - start_;
        const auto length = static_cast<std::int64_t>(view_.size());
        if (place >= 0 && place <= length && static_cast<std::size_t>(length - place) >= size)
            return view_.subspan(static_cast<std::size_t>(place));
        return refill(offset, size);
    }

private:
    Bytes refill(std::int64_t offset, std::size_t size);

    const ByteSource &source_;
    Bytes view_;
    std::int64_t start_; ///< offset of the view's first byte
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t capacity_ = 0, ahead_ = 0;
};

} // namespace saddlefit
