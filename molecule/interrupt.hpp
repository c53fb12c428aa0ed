/// Whether the host wants the work at hand given up.
#pragma once

namespace saddlefit {

/// Asks the host, if it has named a function to ask.
bool interruptRequested();

} // namespace saddlefit
