/// A process that works on one item at a time.
#pragma once

#include "cli/batch/delivery.hpp"
#include "cli/host.hpp"
#include "host/system/descriptor.hpp"

#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>

namespace saddlefit::cli {

/// The programs that the worker starts, and what these start, end with it, and it ends with this
/// object. Ctrl-C does not reach it: the parent decides. If the parent dies it dies too.
class Worker {
public:
    /// `leaveToParent` is called in the new process: it closes the files that are the parent's own.
    /// Throws Error if there can be no new process.
    Worker(const Work &work, const std::function<void()> &leaveToParent);
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    void hand(std::size_t item);

    /// Readable when a delivery arrives or the worker has ended.
    int socket() const { return socket_.number(); }
    /// Takes in what has arrived without waiting; false if the worker has ended.
    bool takeIn();
    /// The delivery that has been taken in, once it is whole.
    std::optional<Delivery> delivery() { return takeDelivery(arrived_); }

    /// Ends the worker and what it started; tells how it ended: "the worker ended with signal 11".
    std::string end();
    /// In a new process: this worker is not its own.
    void leave() { socket_.close(); }

private:
    Descriptor socket_;
    pid_t process_ = -1;
    std::string arrived_;
};

} // namespace saddlefit::cli
