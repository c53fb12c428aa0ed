#include "host/system/diverted_stdout.hpp"

#include "host/system/error.hpp"

#include <array>
#include <unistd.h>

namespace saddlefit::host {

DivertedStdout::DivertedStdout(int target) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    dup2(target, STDOUT_FILENO);
}

DivertedStdout::~DivertedStdout() {
    std::fflush(stdout);
    if (saved_ < 0) { // it was closed before
        close(STDOUT_FILENO);
        return;
    }
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

StdoutToStderr::StdoutToStderr() : diverted_(STDERR_FILENO) {}

CapturedStdout::CapturedStdout() : file_(std::tmpfile()) {
    if (!file_) {
        throw Error("the folder for temporary files cannot be written; make room there");
    }
    diverted_ = std::make_unique<DivertedStdout>(fileno(file_.get()));
}

std::string CapturedStdout::text() {
    diverted_.reset();
    std::rewind(file_.get());
    std::string text;
    std::array<char, 4096> buffer{};
    while (const auto count = std::fread(buffer.data(), 1, buffer.size(), file_.get()))
        text.append(buffer.data(), count);
    return text;
}

} // namespace saddlefit::host
