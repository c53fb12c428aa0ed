#include "python/core/interruptible.hpp"

namespace saddlefit::python {

namespace {

constexpr auto interval = std::chrono::milliseconds(20); // the lock is not had for nothing

} // namespace

Asker::Asker(const py::object &stop) {
    if (!stop.is_none()) stop_ = py::buffer(stop).request();
}

bool Asker::wantsEnd() {
    const auto now = Clock::now();
    if (now - last_ < interval) return false;
    last_ = now;
    if (stop_.ptr != nullptr && *static_cast<const volatile char *>(stop_.ptr) != 0) return true;
    const py::gil_scoped_acquire acquired;
    if (PyErr_CheckSignals() == 0) return false;
    raised_ = std::make_unique<py::error_already_set>();
    return true;
}

void Asker::raise() {
    if (raised_) throw py::error_already_set(*raised_);
    const auto errors = py::module_::import("saddlefit._errors");
    const auto cancelled = errors.attr("Cancelled");
    PyErr_SetString(cancelled.ptr(), "the work was given up");
    throw py::error_already_set();
}

} // namespace saddlefit::python
