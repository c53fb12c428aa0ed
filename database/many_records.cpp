#include "database/many_records.hpp"

#include "database/byte_source.hpp"
#include "database/format.hpp"
#include "database/scan.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace saddlefit {

namespace {

constexpr std::int64_t taken = -1;
constexpr std::int64_t statusAt = blockHeaderSize - 1;

/// The free blocks of a file and where its last block ends, found as Fmalloc() finds them: it takes
/// every header for a whole one. Less than 0 for a header without its status: what is stored behind
/// it would give it one.
std::int64_t walk(const ByteSource &source, std::vector<FreeBlocks::Block> &free) {
    ByteWindow window(source);
    std::int64_t offset = 0;
    while (const auto block = blockAt(window, offset)) {
        if (block->data != offset + blockHeaderSize) return -1;
        if (block->status == blockFree) free.push_back({offset, block->size});
        offset += std::int64_t{blockHeaderSize} + block->size;
    }
    return offset;
}

} // namespace

FreeBlocks::FreeBlocks(std::vector<Block> inFileOrder)
    : blocks_(std::move(inFileOrder)),
      leaves_(std::bit_ceil(std::max<std::size_t>(blocks_.size(), 1))),
      largest_(2 * leaves_, taken) {
    for (std::size_t i = 0; i < blocks_.size(); ++i)
        largest_[leaves_ + i] = blocks_[i].size;
    for (std::size_t node = leaves_ - 1; node > 0; --node)
        largest_[node] = std::max(largest_[2 * node], largest_[2 * node + 1]);
}

const FreeBlocks::Block *FreeBlocks::take(std::uint32_t size) {
    if (largest_[1] < std::int64_t{size}) return nullptr;
    std::size_t node = 1;
    while (node < leaves_)
        node = 2 * node + (largest_[2 * node] < std::int64_t{size} ? 1 : 0);
    setSize(node, taken);
    return &blocks_[node - leaves_];
}

void FreeBlocks::setSize(std::size_t leaf, std::int64_t size) {
    largest_[leaf] = size;
    for (std::size_t node = leaf / 2; node > 0; node /= 2)
        largest_[node] = std::max(largest_[2 * node], largest_[2 * node + 1]);
}

std::unique_ptr<ManyRecords> ManyRecords::open(const char *path) {
    const auto source = ByteSource::open(path);
    if (!source) return nullptr;
    std::vector<FreeBlocks::Block> free;
    const std::int64_t end = walk(*source, free);
    if (end < 0 || source->failure() != 0) { // what lies behind would be written over
        errno = end < 0 ? EINVAL : source->failure();
        return nullptr;
    }
    std::unique_ptr<ManyRecords> file(new ManyRecords(-1, std::move(free), end));
    file->descriptor_ = ::open(path, O_RDWR | O_CLOEXEC);
    return file->descriptor_ < 0 ? nullptr : std::move(file);
}

ManyRecords::~ManyRecords() {
    close();
}

bool ManyRecords::close() {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || ::close(descriptor) == 0;
}

bool ManyRecords::write(std::int64_t offset, Bytes bytes) {
    while (!bytes.empty()) {
        const ssize_t done =
            pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        offset += done;
        bytes = bytes.subspan(static_cast<std::size_t>(done));
    }
    return true;
}

/// A new free block with the record's bytes in it. The status comes before the size: of a header
/// that a full disk cuts off, a missing one would read as in use.
bool ManyRecords::append(Bytes record) {
    std::vector<unsigned char> block(blockHeaderSize + record.size());
    writeHeader(static_cast<std::uint32_t>(record.size()), blockFree, block.data());
    std::ranges::copy(record, block.begin() + blockHeaderSize);
    return write(end_ + statusAt, {&blockFree, 1}) && write(end_, block);
}

std::int64_t ManyRecords::insert(Bytes record) {
    if (hasFailed_ || descriptor_ < 0) return 0;
    if (record.empty()) {
        errno = EINVAL;
        return 0;
    }
    const FreeBlocks::Block *room = free_.take(static_cast<std::uint32_t>(record.size()));
    const std::int64_t offset = room ? room->offset : end_, data = offset + blockHeaderSize;
    const std::int64_t next = data + static_cast<std::int64_t>(record.size());
    if (next > furthestOffset) {
        errno = EOVERFLOW;
        return 0;
    }
    hasFailed_ = !(room ? write(data, record) : append(record)) ||
                 !write(offset + statusAt, {&blockInUse, 1});
    if (hasFailed_) return 0;
    if (!room) end_ = next;
    return data;
}

bool ManyRecords::remove(std::int64_t offset) {
    if (hasFailed_ || descriptor_ < 0) return false;
    unsigned char status = blockFree;
    const auto at = static_cast<off_t>(offset + statusAt);
    if (pread(descriptor_, &status, 1, at) != 1 || status != blockInUse) {
        errno = EINVAL;
        return false;
    }
    hasFailed_ = !write(offset + statusAt, {&blockFree, 1});
    return !hasFailed_;
}

} // namespace saddlefit
