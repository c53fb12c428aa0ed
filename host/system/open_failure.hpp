/// What it means that a file cannot be opened.
#pragma once

#include "host/system/error.hpp"

#include <cerrno>

namespace saddlefit::host {

/// By errno: whoever names a file that is not there is in error, all else is the machine's.
inline ErrorKind kindOfOpenFailure(int code) {
    return code == ENOENT || code == ENOTDIR ? ErrorKind::input : ErrorKind::system;
}

} // namespace saddlefit::host
