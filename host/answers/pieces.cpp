#include "host/answers/pieces.hpp"

#include <algorithm>
#include <charconv>

namespace saddlefit::host {

std::optional<std::string_view> CompleteLines::next() {
    const auto newline = text_.find('\n', offset_);
    if (newline == std::string_view::npos) return std::nullopt;
    const auto line = text_.substr(offset_, newline - offset_);
    offset_ = newline + 1;
    return line;
}

std::string_view takeWord(std::string_view &line) {
    constexpr std::string_view blanks = " \t\r";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const auto word = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(word.size());
    return word;
}

std::optional<std::size_t> numberIn(std::string_view word) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
    return number;
}

std::optional<std::size_t> onlyNumberIn(std::string_view line) {
    const auto number = numberIn(takeWord(line));
    return takeWord(line).empty() ? number : std::nullopt;
}

} // namespace saddlefit::host
