#include "host/system/input_file.hpp"

#include "host/system/error.hpp"
#include "host/system/gzip.hpp"
#include "host/system/open_failure.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace saddlefit::host {

namespace {

constexpr std::size_t chunkSize = 1 << 20;

[[noreturn]] void failReading(const std::string &path) {
    throw Error(ErrorKind::system, "an error occurred while it was read").at({path});
}

std::size_t readOnce(int file, char *buffer, std::size_t size, const std::string &path) {
    ssize_t count = 0;
    do
        count = ::read(file, buffer, size);
    while (count < 0 && errno == EINTR);
    if (count < 0) failReading(path);
    return static_cast<std::size_t>(count);
}

std::string everythingIn(int file, const std::string &path) {
    std::string text, chunk(chunkSize, '\0');
    while (const auto count = readOnce(file, chunk.data(), chunk.size(), path))
        text.append(chunk, 0, count);
    return text;
}

/// Files that the kernel makes up have bytes and no size; they may be others the next time.
bool canBeReadAgain(const std::string &path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error) &&
           std::filesystem::file_size(path, error) > 0 && !error;
}

Descriptor opened(const std::string &path) {
    if (path == standardInput) return Descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw Error("this is a folder; name a file in it").at({path});
    }
    return Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

} // namespace

InputFile::InputFile(const std::string &path)
    : path_(path == standardInput ? "standard input" : path), file_(opened(path)) {
    if (!file_.isOpen()) {
        throw Error(kindOfOpenFailure(errno), std::string("cannot be opened (") +
                                                  std::strerror(errno) +
                                                  "); check the name and your rights")
            .at({path_});
    }
    isKept_ = path == standardInput || !canBeReadAgain(path);
    if (isKept_) kept_ = everythingIn(file_.number(), path_);
    std::array<char, 2> begin{};
    if (!isPacked({begin.data(), readAt(begin.data(), begin.size(), 0)})) return;
    kept_ = unpacked(rest(), path_);
    isKept_ = true;
}

std::size_t InputFile::readAt(char *buffer, std::size_t size, std::size_t offset) const {
    if (isKept_) {
        const auto there = kept_.size() - std::min(offset, kept_.size());
        return kept_.copy(buffer, std::min(size, there), std::min(offset, kept_.size()));
    }
    ssize_t count = 0;
    do
        count = ::pread(file_.number(), buffer, size, static_cast<off_t>(offset));
    while (count < 0 && errno == EINTR);
    if (count < 0) failReading(path_);
    return static_cast<std::size_t>(count);
}

void InputFile::forEachLine(const std::function<void(const InputLine &)> &visit) const {
    std::string chunk(chunkSize, '\0'), text; // from the line that is not at its end yet
    std::size_t offset = 0;                   // of the text
    while (const auto count = readAt(chunk.data(), chunk.size(), offset + text.size())) {
        auto searched = text.size();
        text.append(chunk, 0, count);
        std::size_t begin = 0;
        for (auto end = text.find('\n', searched); end != std::string::npos;
             end = text.find('\n', begin)) {
            visit({std::string_view(text).substr(begin, end - begin), offset + begin,
                   offset + end + 1});
            begin = end + 1;
        }
        text.erase(0, begin);
        offset += begin;
    }
    if (!text.empty()) visit({text, offset, offset + text.size()});
}

std::string InputFile::bytes(std::size_t offset, std::size_t size) const {
    std::string text(size, '\0');
    for (std::size_t done = 0; done < size;) {
        const auto count = readAt(text.data() + done, size - done, offset + done);
        if (count == 0) {
            throw Error(ErrorKind::system, "has become shorter while it was read; leave it alone "
                                           "until the run has ended")
                .at({path_});
        }
        done += count;
    }
    return text;
}

std::string InputFile::rest(std::size_t offset) const {
    std::string text, chunk(chunkSize, '\0');
    while (const auto count = readAt(chunk.data(), chunk.size(), offset + text.size()))
        text.append(chunk, 0, count);
    return text;
}

} // namespace saddlefit::host
