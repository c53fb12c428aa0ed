#include "host/system/temporary_file.hpp"

#include "host/system/error.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace saddlefit::host {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const std::string &path) {
    throw Error(path + ": a temporary file cannot be written (" + std::strerror(errno) +
                "); make room there, or set TMPDIR to another folder");
}

} // namespace

std::string temporaryPattern() {
    const char *chosen = std::getenv("TMPDIR");
    const fs::path parent = chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
    return fs::absolute(parent / "saddlefit-XXXXXX").string();
}

TemporaryFile::TemporaryFile() : path_(temporaryPattern()), owner_(getpid()) {
    const int file = mkstemp(path_.data());
    if (file < 0) fail(path_);
    close(file);
}

TemporaryFile::~TemporaryFile() {
    if (owner_ == getpid()) std::remove(path_.c_str());
}

void TemporaryFile::write(const std::string &bytes) {
    std::FILE *file = std::fopen(path_.c_str(), "wb");
    if (file == nullptr) fail(path_);
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !written) fail(path_);
}

} // namespace saddlefit::host
