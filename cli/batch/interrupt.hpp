/// Ctrl-C and termination while a batch runs.
#pragma once

#include <array>
#include <csignal>

namespace saddlefit::cli {

/// While one of these lives, the first SIGINT or SIGTERM is only noted; the second one of a kind
/// ends the program. A signal that was ignored before, as under nohup, still is.
class InterruptWatch {
public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch &) = delete;
    InterruptWatch &operator=(const InterruptWatch &) = delete;

    bool interrupted() const;

private:
    static constexpr std::array watched{SIGINT, SIGTERM};
    std::array<struct sigaction, watched.size()> before_{};
};

} // namespace saddlefit::cli
