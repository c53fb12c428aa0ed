/// State that calls keep between them: the process's, or another that a thread works with.
#pragma once

#include <utility>

namespace saddlefit {

/// Finds the state that a call has to work with. State::ofProcess() is what every thread works with
/// that has not entered another one.
template <class State> class Current {
public:
    static State &state() { return entered_ ? *entered_ : State::ofProcess(); }

    /// Until its end, calls on this thread work with the state given. Scopes nest.
    class Scope {
    public:
        explicit Scope(State &state) : outer_(std::exchange(entered_, &state)) {}
        ~Scope() { entered_ = outer_; }
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;

    private:
        State *outer_;
    };

private:
    static inline constinit thread_local State *entered_ = nullptr;
};

} // namespace saddlefit
