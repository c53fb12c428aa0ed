/// A way out of long work, for programs that have to stay responsive.
#pragma once

#include <functional>
#include <stdexcept>

namespace saddlefit::host {

/// Thrown by work that was given up. It is no Error: nothing is wrong.
class Interrupted : public std::runtime_error {
public:
    Interrupted() : std::runtime_error("interrupted") {}
};

/// While one lives, long work of this thread asks a function now and then whether to go on:
/// searches, atom maps, programs that are waited for. Without one nothing is asked.
class Interruptible {
public:
    /// @param wanted asked often, some ten thousand times a second, until it has answered yes; it
    ///               must not throw
    explicit Interruptible(std::function<bool()> wanted);
    ~Interruptible();
    Interruptible(const Interruptible &) = delete;
    Interruptible &operator=(const Interruptible &) = delete;

    bool isInterrupted();

private:
    std::function<bool()> wanted_;
    bool interrupted_ = false;
    Interruptible *outer_;
};

/// Whether this thread's work is to be given up.
bool isInterrupted();

void throwIfInterrupted();

} // namespace saddlefit::host
