/// The inputs for other programs that "react" writes.
#pragma once

#include "cli/react_options.hpp"

namespace saddlefit::cli {

/// The files of one reaction, into the folder of the options, if they name a program. Throws Error
/// where one cannot be written.
void writeInputs(const ReactOptions &options, const Reaction &reaction, const Answer &answer);

} // namespace saddlefit::cli
