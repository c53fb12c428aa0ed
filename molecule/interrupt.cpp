#include "molecule/interrupt.hpp"

#include "molecule/current.hpp"

namespace saddlefit {

Interrupt &Interrupt::ofProcess() {
    static constinit Interrupt interrupt;
    return interrupt;
}

bool interruptRequested() {
    const auto [callback, context] = Current<Interrupt>::state();
    return callback && callback(context) != 0;
}

} // namespace saddlefit

void setInterrupt(InterruptCallback callback, void *context) {
    saddlefit::Current<saddlefit::Interrupt>::state() = {callback, context};
}
