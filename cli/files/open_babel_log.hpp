// What Open Babel has to complain about.
#ifndef SADDLEFIT_CLI_OPEN_BABEL_LOG_HPP
#define SADDLEFIT_CLI_OPEN_BABEL_LOG_HPP

#include <ostream>
#include <sstream>
#include <string>

namespace saddlefit::cli {

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

} // namespace saddlefit::cli

#endif
