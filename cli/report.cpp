#include "cli/report.hpp"

#include <cstdio>

namespace saddlefit::cli {

void report(const Error &error) {
    std::fflush(stdout);
    std::fprintf(stderr, "saddlefit: %s\n", error.what());
}

std::function<void()> reportingOfWait(const std::string &path) {
    return [path] {
        report(Error(path + ": another run is changing this file; waiting until it has ended"));
    };
}

} // namespace saddlefit::cli
