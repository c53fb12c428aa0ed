#include "cli/batch/interrupt.hpp"

namespace saddlefit::cli {

namespace {

volatile std::sig_atomic_t noted = 0;

extern "C" void noteInterrupt(int) {
    noted = 1;
}

} // namespace

InterruptWatch::InterruptWatch() {
    noted = 0;
    struct sigaction action {};
    action.sa_handler = noteInterrupt;
    // Restarted: what is being written gets written whole.
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    for (std::size_t i = 0; i < watched.size(); ++i) {
        sigaction(watched[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) sigaction(watched[i], &action, nullptr);
    }
}

InterruptWatch::~InterruptWatch() {
    for (std::size_t i = 0; i < watched.size(); ++i)
        sigaction(watched[i], &before_[i], nullptr);
}

bool InterruptWatch::interrupted() const {
    return noted != 0;
}

} // namespace saddlefit::cli
