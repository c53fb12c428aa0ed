#include "cli/errors.hpp"

#include <cstdio>

namespace saddlefit::cli {

void report(const UserError &error) {
    std::fflush(stdout);
    std::fprintf(stderr, "saddlefit: %s\n", error.what());
}

} // namespace saddlefit::cli
