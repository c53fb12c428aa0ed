#include "saddlefit/database.h"

#include "database/block_walk.hpp"
#include "database/format.hpp"
#include "database/reservation.hpp"
#include "database/stream.hpp"
#include "molecule/memory.hpp"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <type_traits>

static_assert(std::is_standard_layout_v<BlockHeader>);
static_assert(offsetof(BlockHeader, size) == 0 && offsetof(BlockHeader, status) == 4);

namespace {

using namespace saddlefit;

constexpr char modulePath[] = "database/fmem";

/// The numbers that error lines carry. Hosts tell failures apart by them: NEVER CHANGE ONE.
enum class Step : unsigned short {
    readSeek = 14,
    readItems = 15,
    writeSeek = 25,
    writeItems = 26,
    freeSeek = 56,
    freeReadHeader = 57,
    freeCheckStatus = 58,
    freeSeekBack = 60,
    freeWriteHeader = 61,
    reuseSeek = 79,
    reuseWriteHeader = 80,
    scanSeek = 84,
    appendSeek = 91,
    appendWriteHeader = 92,
    moveSeekHeader = 107,
    moveReadHeader = 108,
    moveSeekOldData = 116,
    moveTakeBuffer = 119,
    moveReadData = 124,
    moveSeekNewData = 128,
    moveWriteData = 132,
    moveFreeOld = 137
};

constexpr char readFailure[] = "failed to read from file";
constexpr char writeFailure[] = "failed to write to file";
constexpr char freeFailure[] = "failed to free file block";
constexpr char allocFailure[] = "error allocating file block";
constexpr char reallocFailure[] = "error reallocating file block";

/// Print the error line of a step. The result, 0, is that of the operation that failed.
int fail(Step step, const char *message) {
    std::printf("Error: (%s,%hu) %s\n", modulePath, static_cast<unsigned short>(step), message);
    return 0;
}

uint32_t allocFail(Step step) {
    return static_cast<uint32_t>(fail(step, allocFailure));
}
uint32_t reallocFail(Step step) {
    return static_cast<uint32_t>(fail(step, reallocFailure));
}

bool fits(const BlockHeader &block, uint32_t request) {
    return block.status == blockFree && block.size >= request;
}

/// Write a block's header where it belongs and leave the stream at the block's data.
uint32_t takeBlock(uint32_t offset, BlockHeader header, Step seekStep, Step writeStep,
                   FILE *stream) {
    if (!seekTo(offset, stream)) return allocFail(seekStep);
    if (!WriteHeader(&header, stream)) return allocFail(writeStep);
    return offset + blockHeaderSize;
}

uint32_t reuseBlock(uint32_t offset, BlockHeader header, FILE *stream) {
    return takeBlock(offset, header, Step::reuseSeek, Step::reuseWriteHeader, stream);
}

/// Write a header of zeros, an empty free block, by its last byte alone: of one that a full disk
/// cuts off, the missing status would read as in use.
bool writeEmptyHeader(uint32_t offset, FILE *stream) {
    return markBlock(offset + blockHeaderSize, blockFree, stream);
}

/// Whether whatever is written goes to the end, so that there is no going back to a status byte.
bool appendsOnly(FILE *stream) {
    const int flags = fcntl(fileno(stream), F_GETFL);
    return flags >= 0 && (flags & O_APPEND) != 0;
}

uint32_t appendBlock(uint32_t end, BlockHeader header, FILE *stream) {
    // A place out of reach is told of below.
    if (header.status == blockFree && seekTo(end, stream) && !writeEmptyHeader(end, stream))
        return allocFail(Step::appendWriteHeader);
    return takeBlock(end, header, Step::appendSeek, Step::appendWriteHeader, stream);
}

/// Find room by first fit, or make some at the end, and give it a header with this status.
uint32_t placeBlock(uint32_t size, uint8_t status, FILE *stream) {
    BlockHeader header;
    uint32_t offset = 0;
    std::rewind(stream);
    while (ReadHeader(&header, stream)) {
        if (fits(header, size)) return reuseBlock(offset, {header.size, status}, stream);
        int64_t next = int64_t{offset} + header.size + blockHeaderSize;
        if (!seekTo(next, stream)) return allocFail(Step::scanSeek);
        const auto look = [size](const BlockHeader &block, Bytes) {
            return fits(block, size) ? Look::stop : Look::passOver;
        };
        next = passOverBlocks(header.size, next, stream, look);
        if (!seekTo(next, stream)) return allocFail(Step::scanSeek);
        offset = static_cast<uint32_t>(next);
    }
    // Not the end of the file: what lies behind would be written over.
    if (std::ferror(stream)) return allocFail(Step::scanSeek);
    return appendBlock(offset, {size, status}, stream);
}

/// Copy `size` bytes from one data area to another. False, its line printed, if a step fails.
bool copyData(uint32_t from, uint32_t to, uint32_t size, FILE *stream) {
    if (!seekTo(from, stream)) return fail(Step::moveSeekOldData, reallocFailure);
    const OwnedBlock<void> buffer(std::malloc(size ? size : 1));
    if (!buffer) return fail(Step::moveTakeBuffer, reallocFailure);
    if (Fread1cBuf(buffer.get(), size, stream) != size)
        return fail(Step::moveReadData, reallocFailure);
    if (!seekTo(to, stream)) return fail(Step::moveSeekNewData, reallocFailure);
    if (Fwrite1cBuf(buffer.get(), size, stream) != size)
        return fail(Step::moveWriteData, reallocFailure);
    return true;
}

bool releaseOldBlock(uint32_t handle, FILE *stream) {
    return Ffree(handle, stream) || fail(Step::moveFreeOld, reallocFailure);
}

} // namespace

int Fread(void *buffer, uint32_t itemSize, uint32_t count, int32_t offset, FILE *stream) {
    if (!seekTo(offset, stream)) return fail(Step::readSeek, readFailure);
    if (std::fread(buffer, itemSize, count, stream) != count)
        return fail(Step::readItems, readFailure);
    return 1;
}

int Fwrite(const void *buffer, uint32_t itemSize, uint32_t count, int32_t offset, FILE *stream) {
    if (!seekTo(offset, stream)) return fail(Step::writeSeek, writeFailure);
    if (std::fwrite(buffer, itemSize, count, stream) != count)
        return fail(Step::writeItems, writeFailure);
    return 1;
}

uint8_t ReadHeader(BlockHeader *header, FILE *stream) {
    std::clearerr(stream);
    header->size = Fread4cF(stream);
    if (std::feof(stream)) return 0;
    header->status = static_cast<uint8_t>(std::getc(stream));
    return !std::ferror(stream);
}

uint8_t WriteHeader(BlockHeader *header, FILE *stream) {
    std::clearerr(stream);
    Fwrite4cF(header->size, stream);
    std::putc(header->status, stream);
    return !std::ferror(stream);
}

uint32_t Fmalloc(uint32_t size, FILE *stream) {
    return placeBlock(size, blockInUse, stream);
}

uint32_t saddlefit::reserveBlock(uint32_t size, FILE *stream) {
    return placeBlock(size, appendsOnly(stream) ? blockInUse : blockFree, stream);
}

bool saddlefit::markBlock(uint32_t handle, uint8_t status, FILE *stream) {
    if (appendsOnly(stream)) return std::fflush(stream) == 0;
    return seekTo(int64_t{handle} - 1, stream) && std::putc(status, stream) != EOF &&
           std::fflush(stream) == 0;
}

int Ffree(uint32_t handle, FILE *stream) {
    if (handle == 0) return 1;
    const uint32_t offset = handle - blockHeaderSize; // wraps out of reach for handles below 5
    BlockHeader header;
    if (!seekTo(offset, stream)) return fail(Step::freeSeek, freeFailure);
    if (!ReadHeader(&header, stream)) return fail(Step::freeReadHeader, freeFailure);
    if (header.status != blockInUse) return fail(Step::freeCheckStatus, freeFailure);
    header.status = blockFree;
    if (!seekTo(offset, stream)) return fail(Step::freeSeekBack, freeFailure);
    // Flushed, for a stream takes a header long before the disk refuses it.
    if (!WriteHeader(&header, stream) || std::fflush(stream) != 0)
        return fail(Step::freeWriteHeader, freeFailure);
    return 1;
}

uint32_t Frealloc(uint32_t handle, uint32_t size, FILE *stream) {
    if (handle == 0) return Fmalloc(size, stream);
    BlockHeader old;
    if (!seekTo(handle - blockHeaderSize, stream)) return reallocFail(Step::moveSeekHeader);
    if (!ReadHeader(&old, stream)) return reallocFail(Step::moveReadHeader);
    if (size <= old.size) return handle;

    const uint32_t moved = Fmalloc(size, stream);
    if (moved == 0) return 0;
    if (copyData(handle, moved, old.size, stream) && releaseOldBlock(handle, stream)) return moved;
    Ffree(moved, stream);
    return 0;
}
