// The library prints its progress on standard output, which here carries results.
#pragma once

#include "host/system/open_file.hpp"

#include <memory>
#include <string>

namespace saddlefit::host {

// While one of these lives, standard output leads to another file.
class DivertedStdout {
public:
    explicit DivertedStdout(int target);
    ~DivertedStdout();
    DivertedStdout(const DivertedStdout &) = delete;
    DivertedStdout &operator=(const DivertedStdout &) = delete;

private:
    int saved_;
};

// Standard output leads to standard error.
class StdoutToStderr {
public:
    StdoutToStderr();

private:
    DivertedStdout diverted_;
};

// What is printed is kept.
class CapturedStdout {
public:
    CapturedStdout();

    // All that was printed so far; nothing is captured after that.
    std::string text();

private:
    OpenFile file_; // none if there is no room for one
    std::unique_ptr<DivertedStdout> diverted_;
};

} // namespace saddlefit::host
