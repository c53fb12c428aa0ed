#pragma once

#include <cstddef>

namespace saddlefit::host {

/// Where a record stands in its file.
struct RecordPlace {
    std::size_t offset = 0;
    std::size_t size = 0;      ///< in bytes
    std::size_t firstLine = 1; ///< its number in the file
};

} // namespace saddlefit::host
