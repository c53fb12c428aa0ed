#include "cli/batch/batch.hpp"

#include "cli/batch/interrupt.hpp"
#include "cli/batch/progress.hpp"
#include "cli/batch/worker.hpp"
#include "cli/report.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace saddlefit::cli {

namespace {

using Clock = std::chrono::steady_clock;

// A signal that comes between a look at the watch and poll() waits this long.
constexpr auto longestWait = progressInterval;

// A place for a worker, which is started when there is something to do.
struct Slot {
    std::unique_ptr<Worker> worker;
    std::optional<std::size_t> place; // of its item in the list
    Clock::time_point deadline = Clock::time_point::max();
};

std::string timeoutText(double seconds) {
    return formatted("took longer than %g s", seconds);
}

class Batch {
public:
    Batch(const std::vector<std::size_t> &items, const Work &work, const Mishap &mishap,
          const BatchOptions &options, const std::vector<StreamedFile *> &outputs,
          const std::function<void(const Delivery &)> &take)
        : items_(items),
          work_(work),
          mishap_(mishap),
          options_(options),
          outputs_(outputs),
          take_(take),
          slots_(std::min(static_cast<std::size_t>(std::max(options.jobs, 1)), items.size())),
          bar_(options.quiet ? 0 : items.size()) {}

    BatchResult run() {
        std::signal(SIGPIPE, SIG_IGN); // from here on: temporary files are to be removed
        const InterruptWatch watch;
        while (result_.done < items_.size() && !watch.interrupted()) {
            handOut();
            waitForWorkers();
            collect();
            endOverdue();
            writeReady();
            bar_.show(arrived_, failedArrivals_);
        }
        result_.interrupted = result_.done < items_.size();
        slots_.clear();
        bar_.erase();
        print(repeatedWarnings(), stderr);
        return result_;
    }

private:
    void handOut() {
        for (auto &slot : slots_) {
            if (slot.place || next_ == items_.size()) continue;
            if (!slot.worker) {
                slot.worker = std::make_unique<Worker>(work_, [this] { leaveToParent(); });
            }
            slot.place = next_++;
            if (options_.timeout > 0) slot.deadline = Clock::now() + timeLimit();
            slot.worker->hand(items_[*slot.place]);
        }
    }

    Clock::duration timeLimit() const {
        constexpr double aCentury = 3.2e9; // more would overflow the clock
        return std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(std::min(options_.timeout, aCentury)));
    }

    // An inherited output file would stay locked until the last worker has died.
    void leaveToParent() {
        for (auto *output : outputs_)
            output->leave();
        for (auto &slot : slots_)
            if (slot.worker) slot.worker->leave();
    }

    void waitForWorkers() const {
        std::vector<pollfd> sockets;
        auto until = Clock::now() + longestWait;
        for (const auto &slot : slots_) {
            if (!slot.worker) continue;
            sockets.push_back({slot.worker->socket(), POLLIN, 0});
            if (slot.place) until = std::min(until, slot.deadline);
        }
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        poll(sockets.data(), sockets.size(), std::max(static_cast<int>(wait.count()), 0));
    }

    void collect() {
        for (auto &slot : slots_) {
            if (!slot.worker) continue;
            const bool lives = slot.worker->takeIn();
            if (auto delivery = slot.worker->delivery()) accept(slot, std::move(*delivery));
            if (!lives) bury(slot);
        }
    }

    void endOverdue() {
        const auto now = Clock::now();
        for (auto &slot : slots_) {
            if (!slot.place || now < slot.deadline) continue;
            slot.worker.reset();
            acceptMishap(slot, timeoutText(options_.timeout));
        }
    }

    void bury(Slot &slot) {
        const auto how = slot.worker->end();
        slot.worker.reset();
        if (slot.place) acceptMishap(slot, how);
    }

    void acceptMishap(Slot &slot, const std::string &what) {
        auto delivery = mishap_(items_[*slot.place], what);
        delivery.failed = true;
        accept(slot, std::move(delivery));
    }

    void accept(Slot &slot, Delivery delivery) {
        ++arrived_;
        if (delivery.failed) ++failedArrivals_;
        waiting_.emplace(*slot.place, std::move(delivery));
        slot.place.reset();
    }

    void writeReady() {
        for (auto first = waiting_.begin(); first != waiting_.end() && first->first == result_.done;
             first = waiting_.erase(first)) {
            write(first->second);
            ++result_.done;
            if (first->second.failed) ++result_.failed;
            if (!first->second.outcome.empty()) ++result_.outcomes[first->second.outcome];
        }
    }

    // Files first: an item whose line has been seen stands in them.
    void write(const Delivery &delivery) {
        const auto count = std::min(outputs_.size(), delivery.pieces.size());
        for (std::size_t i = 0; i < count; ++i)
            outputs_[i]->append(delivery.pieces[i]);
        if (take_) take_(delivery);
        if (options_.quiet && !delivery.failed) return;
        const bool lineIsSeen = !delivery.line.empty() && isatty(STDOUT_FILENO) == 1;
        const auto messages = newWarnings(delivery) + delivery.messages;
        if (lineIsSeen || !messages.empty()) bar_.erase();
        if (!print(delivery.line, options_.linesAreMessages ? stderr : stdout)) failPrinting();
        print(messages, stderr);
    }

    std::string newWarnings(const Delivery &delivery) {
        std::string text;
        for (const auto &warning : delivery.warnings) {
            if (warned_[warning]++ == 0) {
                text += "saddlefit: " + delivery.origin + ": warning: " + warning + "\n";
            }
        }
        return text;
    }

    std::string repeatedWarnings() const {
        std::string text;
        for (const auto &[warning, count] : warned_) {
            if (count < 2) continue;
            text += formatted("saddlefit: warning for %zu more: ", count - 1) + warning + "\n";
        }
        return text;
    }

    static bool print(const std::string &text, std::FILE *stream) {
        if (text.empty()) return true;
        const bool written = std::fwrite(text.data(), 1, text.size(), stream) == text.size();
        return std::fflush(stream) == 0 && written;
    }

    // Nobody reads any more, or there is no room: hours of work would go nowhere.
    [[noreturn]] void failPrinting() const {
        throw Error(ErrorKind::system, "standard output cannot be written (" +
                                           std::string(std::strerror(errno)) + "); ended after " +
                                           std::to_string(result_.done + 1) + " of " +
                                           std::to_string(items_.size()));
    }

    const std::vector<std::size_t> &items_;
    const Work &work_;
    const Mishap &mishap_;
    const BatchOptions &options_;
    const std::vector<StreamedFile *> &outputs_;
    const std::function<void(const Delivery &)> &take_;
    std::vector<Slot> slots_;
    ProgressBar bar_;
    std::size_t next_ = 0;                         // the first item that nobody has got
    std::map<std::size_t, Delivery> waiting_;      // by place: those before it are missing
    std::size_t arrived_ = 0, failedArrivals_ = 0; // written or waiting
    std::map<std::string, std::size_t> warned_;    // how many items have each warning
    BatchResult result_;
};

} // namespace

BatchResult runBatch(const std::vector<std::size_t> &items, const Work &work, const Mishap &mishap,
                     const BatchOptions &options, const std::vector<StreamedFile *> &outputs,
                     const std::function<void(const Delivery &)> &take) {
    return Batch(items, work, mishap, options, outputs, take).run();
}

} // namespace saddlefit::cli
