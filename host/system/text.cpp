#include "host/system/text.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace saddlefit::host {

std::string formatted(const char *format, ...) {
    std::va_list values, again;
    va_start(values, format);
    va_copy(again, values);
    const int length = std::vsnprintf(nullptr, 0, format, values);
    va_end(values);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    // Where the closing zero stands a std::string has one, too.
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string inOneLine(std::string text) {
    constexpr unsigned char firstPrintable = 0x20;
    constexpr unsigned char deleteCharacter = 0x7F;
    std::replace_if(
        text.begin(), text.end(),
        [](unsigned char c) { return c < firstPrintable || c == deleteCharacter; }, '?');
    return text;
}

} // namespace saddlefit::host
