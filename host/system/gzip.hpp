/// Files that gzip has packed.
#pragma once

#include <string>
#include <string_view>

namespace saddlefit::host {

/// Whether the bytes begin like such a file.
bool isPacked(std::string_view bytes);

/// What was packed; several packed files one behind the other become one. Throws Error ("PATH:
/// ...") if the bytes are damaged or cut off, and if there are more than 2 GiB in them.
std::string unpacked(std::string_view bytes, const std::string &path);

} // namespace saddlefit::host
