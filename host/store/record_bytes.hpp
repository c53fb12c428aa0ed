/// The bytes of a database, as they stand in the file.
#pragma once

#include "host/system/descriptor.hpp"

#include <cstddef>
#include <string>

namespace saddlefit::host {

class RecordBytes {
public:
    /// Throws Error if the file cannot be opened.
    explicit RecordBytes(const std::string &path);

    /// Throws Error if there are fewer.
    std::string at(std::size_t offset, std::size_t size) const;

private:
    std::string path_;
    Descriptor file_;
};

} // namespace saddlefit::host
