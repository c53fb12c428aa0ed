/// Streams of files whose offsets are signed 32-bit.
#pragma once

#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>

namespace saddlefit {

struct CloseFile {
    void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

/// Null also for a null path.
inline OwnedFile openFile(const char *path, const char *mode) {
    return OwnedFile(path ? std::fopen(path, mode) : nullptr);
}

/// False if the offset is out of reach or the stream cannot go there. The offset comes in more bits
/// than it may use, so that a sum with a hostile block size neither wraps nor walks in circles.
inline bool seekTo(std::int64_t offset, std::FILE *stream) {
    return offset >= 0 && offset <= std::numeric_limits<std::int32_t>::max() &&
           std::fseek(stream, static_cast<long>(offset), SEEK_SET) == 0;
}

} // namespace saddlefit
