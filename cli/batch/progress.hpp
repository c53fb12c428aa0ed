/// How far a batch has come, for a person at a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace saddlefit::cli {

/// Shortest time between two drawings of the bar.
inline constexpr std::chrono::milliseconds progressInterval{200};

/// "[####................]  42/240  3 failed  0:12 left"; the time is known once something is done.
std::string progressLine(std::size_t done, std::size_t total, std::size_t failed,
                         std::chrono::duration<double> elapsed);

/// A line on standard error that is drawn over and over; nothing if that is no terminal.
class ProgressBar {
public:
    explicit ProgressBar(std::size_t total);
    ~ProgressBar() { erase(); }
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void show(std::size_t done, std::size_t failed);
    void erase();

private:
    using Clock = std::chrono::steady_clock;

    std::size_t total_;
    bool onTerminal_;
    bool drawn_ = false;
    Clock::time_point started_ = Clock::now();
    Clock::time_point lastDrawn_ = started_;
};

} // namespace saddlefit::cli
