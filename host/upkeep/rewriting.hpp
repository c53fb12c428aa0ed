/// Changes of a whole database file, and of what stands beside it. Nobody else may write to it
/// meanwhile: see FileLock.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace saddlefit::host {

/// Remove the records at these positions, all as they were before. The file keeps its size.
/// Throws Error if a position is named twice or has no record, or the file cannot be written.
/// @return how many are left
std::size_t removeFrom(const std::string &path, std::vector<std::size_t> positions);

/// The bytes of a file.
struct CompactSizes {
    std::size_t records = 0;
    std::size_t before = 0;
    std::size_t after = 0;
};

/// Give back the room that no record uses. Records keep their order and their bytes.
/// Throws Error for a damaged file, which is left alone.
CompactSizes compact(const std::string &path);

} // namespace saddlefit::host
