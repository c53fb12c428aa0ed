/// Text made of values, and text from files on its way to a screen.
#pragma once

#include <string>

namespace saddlefit::host {

/// As printf() writes it, in full length.
__attribute__((format(printf, 1, 2))) std::string formatted(const char *format, ...);

/// With "?" in the place of control characters, so that it neither ends a line nor moves a cursor.
std::string inOneLine(std::string text);

} // namespace saddlefit::host
