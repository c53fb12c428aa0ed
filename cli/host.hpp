/// The command line speaks of the host's things by their own names.
#pragma once

namespace saddlefit::host {}

namespace saddlefit::cli {

using namespace host;

} // namespace saddlefit::cli
