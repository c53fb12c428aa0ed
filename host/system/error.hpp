/// What a person is told when something is wrong: where it is, what is wrong, what to do.
#pragma once

#include <stdexcept>

namespace saddlefit::host {

/// Thrown with a complete message.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace saddlefit::host
