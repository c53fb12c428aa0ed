#pragma once

#include <ostream>
#include <sstream>
#include <string>

namespace saddlefit::babel {

/// Open Babel writes what it finds wrong to std::clog. While one of these lives it is held back, to
/// become part of a reply.
class Log {
public:
    Log();
    ~Log();
    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

    /// Its messages without their frames, in one line; empty if there are none.
    std::string complaint() const;

private:
    std::ostringstream text_;
    std::ostream *previous_;
};

} // namespace saddlefit::babel
