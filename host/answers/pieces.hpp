/// Where the complete pieces of an output file end.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

/// What one reaction left in a file.
struct Piece {
    std::size_t item = 0; ///< its number, from 1; 0 if a complete piece bears none
    std::size_t end = 0;  ///< offset behind it
    std::string title;    ///< the reaction's, as it stands in the file
};

/// A line that lacks its newline is no line: the text may be cut off anywhere.
class CompleteLines {
public:
    explicit CompleteLines(std::string_view text) : text_(text) {}

    std::optional<std::string_view> next();

    /// Behind the line that next() gave last.
    std::size_t offset() const { return offset_; }

private:
    std::string_view text_;
    std::size_t offset_ = 0;
};

/// The front word of a line, which loses it; words are parted by blanks.
std::string_view takeWord(std::string_view &line);

/// The number that a word is.
std::optional<std::size_t> numberIn(std::string_view word);

/// The number that is all there is in a line.
std::optional<std::size_t> onlyNumberIn(std::string_view line);

} // namespace saddlefit::host
