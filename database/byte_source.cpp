#include "database/byte_source.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace saddlefit {

namespace {

constexpr std::size_t firstAhead = 4096, furthestAhead = 262144;

/// A gap that is cheaper to read than to leave out.
constexpr std::int64_t gapWorthReading = 16384;

bool sameTime(const timespec &a, const timespec &b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

bool operator==(const FileState &a, const FileState &b) {
    return a.device == b.device && a.inode == b.inode && a.size == b.size &&
           sameTime(a.modified, b.modified) && sameTime(a.changed, b.changed);
}

std::unique_ptr<ByteSource> ByteSource::open(const char *path) {
    const int descriptor = path ? ::open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (descriptor < 0) return nullptr;
    try {
        return std::unique_ptr<ByteSource>(new ByteSource(descriptor));
    } catch (...) {
        close(descriptor);
        throw;
    }
}

ByteSource::~ByteSource() {
    if (!inMemory()) close(descriptor_);
}

std::int64_t ByteSource::length() const {
    if (inMemory()) return static_cast<std::int64_t>(memory_.size());
    const auto regular = state();
    return regular ? regular->size : 0;
}

std::optional<FileState> ByteSource::state() const {
    struct stat status = {};
    if (inMemory() || fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return FileState{status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

std::size_t ByteSource::read(std::int64_t offset, unsigned char *into, std::size_t size) const {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = pread(descriptor_, into + done, size - done,
                                  static_cast<off_t>(offset) + static_cast<off_t>(done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) failure_ = errno;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

Bytes ByteWindow::refill(std::int64_t offset, std::size_t size) {
    const std::int64_t place = offset - start_, length = static_cast<std::int64_t>(view_.size());
    if (source_.inMemory())
        return place >= 0 && place < length ? view_.subspan(static_cast<std::size_t>(place))
                                            : Bytes();
    const bool goesOn = ahead_ && place >= 0 && place <= length + gapWorthReading;
    ahead_ = goesOn ? std::min(2 * ahead_, furthestAhead) : firstAhead;
    const std::size_t wanted = std::max(size, ahead_);
    if (wanted > capacity_) {
        view_ = {};
        buffer_ = std::make_unique_for_overwrite<unsigned char[]>(wanted);
        capacity_ = wanted;
    }
    start_ = offset;
    view_ = {buffer_.get(), source_.read(offset, buffer_.get(), wanted)};
    return view_;
}

} // namespace saddlefit
