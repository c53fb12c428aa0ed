// What Open Babel has to complain about.
#pragma once

#include <ostream>
#include <sstream>
#include <string>

namespace saddlefit::host {

// Open Babel writes what it finds wrong to std::clog. While one of these lives it is held back, to
// become part of a message of ours.
class OpenBabelLog {
public:
    OpenBabelLog();
    ~OpenBabelLog();
    OpenBabelLog(const OpenBabelLog &) = delete;
    OpenBabelLog &operator=(const OpenBabelLog &) = delete;

    // Its messages without their frames, in one line; empty if there are none.
    std::string complaint() const;

private:
    std::ostringstream text_;
    std::ostream *previous_;
};

} // namespace saddlefit::host
