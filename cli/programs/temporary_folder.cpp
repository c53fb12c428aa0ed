#include "cli/programs/temporary_folder.hpp"

#include "cli/errors.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace saddlefit::cli {

namespace fs = std::filesystem;

namespace {

// TMPDIR may name no folder, which is told when the folder in it cannot be made.
std::string pattern() {
    const char *chosen = std::getenv("TMPDIR");
    const fs::path parent = chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
    return fs::absolute(parent / "saddlefit-XXXXXX").string();
}

} // namespace

TemporaryFolder::TemporaryFolder() : path_(pattern()), owner_(getpid()) {
    if (mkdtemp(path_.data()) != nullptr) return;
    throw UserError(path_ + ": a temporary folder cannot be made (" + std::strerror(errno) +
                    "); make room there, or set TMPDIR to another folder");
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (owner_ == getpid()) fs::remove_all(path_, ignored);
}

} // namespace saddlefit::cli
