#pragma once

#include "host/system/interrupt.hpp"

#include <chrono>

namespace saddlefit::host {

/// A moment after which a search is given up.
class Deadline {
public:
    /// Thrown by `check`.
    struct Passed {};

    explicit Deadline(double seconds)
        : end_(Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                  std::chrono::duration<double>(seconds))) {}

    /// Throws Interrupted, too.
    void check() const {
        if (Clock::now() > end_) throw Passed{};
        throwIfInterrupted();
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point end_;
};

} // namespace saddlefit::host
