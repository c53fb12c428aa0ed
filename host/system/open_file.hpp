/// A stream that closes itself.
#pragma once

#include <cstdio>
#include <memory>

namespace saddlefit::host {

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

} // namespace saddlefit::host
