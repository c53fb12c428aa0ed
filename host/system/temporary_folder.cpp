#include "host/system/temporary_folder.hpp"

#include "host/system/error.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace saddlefit::host {

namespace fs = std::filesystem;

namespace {

// It may name no folder, which is told when something is to be made in it.
std::string temporaryPattern(const std::string &parent) {
    const char *chosen = std::getenv("TMPDIR");
    const bool isChosen = chosen != nullptr && *chosen != '\0';
    const fs::path folder = !parent.empty() ? parent : isChosen ? chosen : "/tmp";
    return fs::absolute(folder / "saddlefit-XXXXXX").string();
}

} // namespace

TemporaryFolder::TemporaryFolder(const std::string &parent)
    : path_(temporaryPattern(parent)), owner_(getpid()) {
    if (mkdtemp(path_.data()) != nullptr) return;
    throw Error(ErrorKind::system, std::string("a temporary folder cannot be made (") +
                                       std::strerror(errno) +
                                       "); make room there, or set TMPDIR to another folder")
        .at({path_});
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (owner_ == getpid()) fs::remove_all(path_, ignored);
}

} // namespace saddlefit::host
