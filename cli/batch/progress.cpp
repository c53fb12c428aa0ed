#include "cli/batch/progress.hpp"

#include <cmath>
#include <cstdio>
#include <unistd.h>

namespace saddlefit::cli {

namespace {

constexpr std::size_t barWidth = 20;

std::string twoDigits(long long number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

// "0:12", "2:05:00".
std::string clockText(long long seconds) {
    constexpr long long perMinute = 60;
    constexpr long long perHour = 3600;
    const auto minutes = seconds % perHour / perMinute;
    const auto rest = ":" + twoDigits(seconds % perMinute);
    if (seconds < perHour) return std::to_string(minutes) + rest;
    return std::to_string(seconds / perHour) + ":" + twoDigits(minutes) + rest;
}

} // namespace

std::string progressLine(std::size_t done, std::size_t total, std::size_t failed,
                         std::chrono::duration<double> elapsed) {
    const auto filled = barWidth * done / total;
    auto text = "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "]  " +
                std::to_string(done) + "/" + std::to_string(total) + "  " + std::to_string(failed) +
                " failed";
    if (done == 0) return text;
    const double left =
        elapsed.count() * static_cast<double>(total - done) / static_cast<double>(done);
    return text + "  " + clockText(std::llround(left)) + " left";
}

ProgressBar::ProgressBar(std::size_t total)
    : total_(total), onTerminal_(total > 0 && isatty(STDERR_FILENO) == 1) {}

void ProgressBar::show(std::size_t done, std::size_t failed) {
    const auto now = Clock::now();
    if (!onTerminal_ || now - lastDrawn_ < progressInterval) return;
    std::fprintf(stderr, "\r\033[K%s", progressLine(done, total_, failed, now - started_).c_str());
    std::fflush(stderr);
    drawn_ = true;
    lastDrawn_ = now;
}

void ProgressBar::erase() {
    if (!drawn_) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    drawn_ = false;
}

} // namespace saddlefit::cli
