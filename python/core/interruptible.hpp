/// Long work beside a running interpreter.
#pragma once

#include "host/system/interrupt.hpp"

#include <chrono>
#include <memory>
#include <pybind11/pybind11.h>

namespace saddlefit::python {

namespace py = pybind11;

/// Who may end the work at hand: a signal handler that raises, as that of Ctrl-C does, or whoever
/// sets the first byte of a buffer. Made and destroyed with the interpreter's lock held.
class Asker {
public:
    /// @param stop a writable buffer, or None
    explicit Asker(const py::object &stop);

    /// Without the lock.
    bool wantsEnd();

    /// With it: what the handler raised, or Cancelled.
    [[noreturn]] void raise();

private:
    using Clock = std::chrono::steady_clock;

    py::buffer_info stop_;
    Clock::time_point last_ = Clock::now();
    std::unique_ptr<py::error_already_set> raised_;
};

/// Do work without the interpreter's lock, so that other threads run.
template <class Work> auto interruptibly(const py::object &stop, Work work) {
    Asker asker(stop);
    try {
        const py::gil_scoped_release released;
        const host::Interruptible scope([&asker] { return asker.wantsEnd(); });
        return work();
    } catch (const host::Interrupted &) {
        asker.raise();
    }
}

} // namespace saddlefit::python
