#include "saddlefit/interrupt.h"

#include "molecule/interrupt.hpp"

namespace {

struct Interrupt {
    InterruptCallback callback = nullptr;
    void *context = nullptr;
};

Interrupt interrupt;

} // namespace

void setInterrupt(InterruptCallback callback, void *context) {
    interrupt = {callback, context};
}

bool saddlefit::interruptRequested() {
    return interrupt.callback && interrupt.callback(interrupt.context) != 0;
}
