/// Whether the host wants the work at hand given up.
#pragma once

#include "saddlefit/interrupt.h"

namespace saddlefit {

/// Whom setInterrupt() named.
struct Interrupt {
    InterruptCallback callback = nullptr;
    void *context = nullptr;

    static Interrupt &ofProcess();
};

/// Asks the host, if it has named a function to ask.
bool interruptRequested();

} // namespace saddlefit
