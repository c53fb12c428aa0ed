/// Bytes of database files, written without the library.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>

namespace saddlefit::test {

/// The lowest byte first.
inline std::string integer(std::size_t value, int width) {
    std::string bytes;
    for (int i = 0; i < width; ++i)
        bytes += static_cast<char>(value >> 8 * i & 0xFF);
    return bytes;
}

/// In two bytes each.
inline std::string shorts(std::initializer_list<int> values) {
    std::string bytes;
    for (const int value : values)
        bytes += integer(static_cast<unsigned>(value), 2);
    return bytes;
}

/// Of a block.
inline std::string head(std::size_t size, unsigned char status) {
    return integer(size, 4) + integer(status, 1);
}

inline std::string block(const std::string &data, unsigned char status = 1,
                         const std::string &slack = "") {
    return head(data.size() + slack.size(), status) + data + slack;
}

} // namespace saddlefit::test
