/// A file to read from, in pieces.
#pragma once

#include "host/system/descriptor.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace saddlefit::host {

/// The name of a file that stands for what comes in by the standard input.
inline constexpr const char *standardInput = "-";

/// A line without its newline, and where it stands.
struct InputLine {
    std::string_view text;
    std::size_t offset = 0;
    std::size_t end = 0; ///< behind the newline
};

/// Nothing of it is kept in memory, but for what can be read only once, as a pipe, and for what was
/// packed by gzip, which is read as it was before. Processes that were forked may read from the
/// same one.
class InputFile {
public:
    /// Throws Error for a folder, and for what cannot be opened or read.
    explicit InputFile(const std::string &path);

    /// "standard input" for that.
    const std::string &path() const { return path_; }

    /// Calls `visit` with one line after another, the last one with or without its newline.
    void forEachLine(const std::function<void(const InputLine &)> &visit) const;

    /// Throws Error if there are fewer bytes: the file was changed meanwhile.
    std::string bytes(std::size_t offset, std::size_t size) const;

    /// From there to the end.
    std::string rest(std::size_t offset = 0) const;

private:
    std::size_t readAt(char *buffer, std::size_t size, std::size_t offset) const;

    std::string path_;
    Descriptor file_;
    bool isKept_ = false;
    std::string kept_;
};

} // namespace saddlefit::host
