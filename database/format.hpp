/// The numbers of the database file. Files that hold them outlive every release: NEVER CHANGE ONE.
#pragma once

#include <cstdint>

namespace saddlefit {

/// Bytes of a block's header, 4 of size and 1 of status: from a block's offset to its handle.
constexpr std::uint32_t blockHeaderSize = 5;

constexpr std::uint8_t blockFree = 0;
constexpr std::uint8_t blockInUse = 1;

/// Widths of the two kinds of number in a record, in bytes.
constexpr std::int32_t integerSize = 2;
constexpr std::int32_t floatSize = 4;

/// The greatest value of an integer field; as a stored code it stands for -1, as an atom's position
/// for none.
constexpr std::uint16_t largestField = 0xFFFF;
constexpr std::uint16_t storedMinusOne = largestField;

/// Put a block's header into 5 bytes.
inline void writeHeader(std::uint32_t size, std::uint8_t status, unsigned char *header) {
    for (unsigned i = 0; i < blockHeaderSize - 1; ++i)
        header[i] = static_cast<unsigned char>(size >> 8 * i);
    header[blockHeaderSize - 1] = status;
}

} // namespace saddlefit
