#include "host/system/temporary_folder.hpp"

#include "host/system/error.hpp"
#include "host/system/temporary_file.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace saddlefit::host {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() : path_(temporaryPattern()), owner_(getpid()) {
    if (mkdtemp(path_.data()) != nullptr) return;
    throw Error(path_ + ": a temporary folder cannot be made (" + std::strerror(errno) +
                "); make room there, or set TMPDIR to another folder");
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (owner_ == getpid()) fs::remove_all(path_, ignored);
}

} // namespace saddlefit::host
