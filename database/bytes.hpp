/// Stored numbers in memory.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace saddlefit {

using Bytes = std::span<const unsigned char>;

/// For a place whose two bytes are there.
inline std::uint16_t integerAt(Bytes bytes, std::size_t place) {
    return static_cast<std::uint16_t>(bytes[place] | bytes[place + 1] << 8);
}

/// Numbers of bytes that may be cut off: behind the last one all bits are set, as a stream reads
/// them.
class Fields {
public:
    explicit Fields(Bytes bytes) : bytes_(bytes) {}

    std::uint16_t integer(std::size_t place) const {
        if (place + 2 <= bytes_.size()) return integerAt(bytes_, place);
        return static_cast<std::uint16_t>(byte(place) | byte(place + 1) << 8);
    }
    std::uint32_t wide(std::size_t place) const {
        return integer(place) | std::uint32_t{integer(place + 2)} << 16;
    }
    float real(std::size_t place) const { return std::bit_cast<float>(wide(place)); }

private:
    unsigned byte(std::size_t place) const { return place < bytes_.size() ? bytes_[place] : 0xFFu; }

    Bytes bytes_;
};

} // namespace saddlefit
