#include "host/system/interrupt.hpp"

#include <utility>

namespace saddlefit::host {

namespace {

thread_local Interruptible *innermost = nullptr;

} // namespace

Interruptible::Interruptible(std::function<bool()> wanted)
    : wanted_(std::move(wanted)), outer_(std::exchange(innermost, this)) {}

Interruptible::~Interruptible() {
    innermost = outer_;
}

bool Interruptible::isInterrupted() {
    interrupted_ = interrupted_ || wanted_();
    return interrupted_;
}

bool isInterrupted() {
    return innermost != nullptr && innermost->isInterrupted();
}

void throwIfInterrupted() {
    if (isInterrupted()) throw Interrupted();
}

} // namespace saddlefit::host
