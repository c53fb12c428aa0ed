#include "cli/programs/temporary_folder.hpp"

#include "cli/errors.hpp"
#include "cli/files/temporary_file.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace saddlefit::cli {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() : path_(temporaryPattern()), owner_(getpid()) {
    if (mkdtemp(path_.data()) != nullptr) return;
    throw UserError(path_ + ": a temporary folder cannot be made (" + std::strerror(errno) +
                    "); make room there, or set TMPDIR to another folder");
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (owner_ == getpid()) fs::remove_all(path_, ignored);
}

} // namespace saddlefit::cli
