#include "cli/quiet_stdout.hpp"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace saddlefit::cli {

QuietStdout::QuietStdout(bool toStandardError) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    if (toStandardError) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        return;
    }
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere < 0) return;
    dup2(nowhere, STDOUT_FILENO);
    if (nowhere != STDOUT_FILENO) close(nowhere);
}

QuietStdout::~QuietStdout() {
    std::fflush(stdout);
    if (saved_ < 0) { // it was closed before
        close(STDOUT_FILENO);
        return;
    }
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

} // namespace saddlefit::cli
