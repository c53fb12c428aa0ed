#include "saddlefit/database.h"

#include <bit>
#include <cstdio>
#include <limits>

static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4);

namespace {

/// The next byte; at the end of the file, all bits set, which a shift carries to its own place and
/// to all above.
uint32_t nextByte(FILE *stream) {
    return static_cast<uint32_t>(std::getc(stream));
}

int putByte(uint32_t byte, FILE *stream) {
    return std::putc(static_cast<int>(byte), stream);
}

} // namespace

int Fwrite2cF(uint16_t value, FILE *stream) {
    putByte(value & 0xFFu, stream);
    return putByte(static_cast<uint32_t>(value) >> 8, stream);
}

uint16_t Fread2cF(FILE *stream) {
    const uint32_t b0 = nextByte(stream);
    const uint32_t b1 = nextByte(stream);
    return static_cast<uint16_t>(b0 | b1 << 8);
}

int Fwrite4cF(uint32_t value, FILE *stream) {
    putByte(value & 0xFFu, stream);
    putByte((value >> 8) & 0xFFu, stream);
    putByte((value >> 16) & 0xFFu, stream);
    return putByte(value >> 24, stream);
}

uint32_t Fread4cF(FILE *stream) {
    const uint32_t b0 = nextByte(stream);
    const uint32_t b1 = nextByte(stream);
    const uint32_t b2 = nextByte(stream);
    const uint32_t b3 = nextByte(stream);
    return b0 | b1 << 8 | b2 << 16 | b3 << 24;
}

int Fwrite4fF(float value, FILE *stream) {
    return Fwrite4cF(std::bit_cast<uint32_t>(value), stream);
}

float Fread4fF(FILE *stream) {
    return std::bit_cast<float>(Fread4cF(stream));
}

uint32_t Fwrite1cBuf(const void *buffer, uint32_t count, FILE *stream) {
    return static_cast<uint32_t>(std::fwrite(buffer, 1, count, stream));
}

uint32_t Fread1cBuf(void *buffer, uint32_t count, FILE *stream) {
    return static_cast<uint32_t>(std::fread(buffer, 1, count, stream));
}
