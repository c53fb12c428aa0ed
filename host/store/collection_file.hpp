#pragma once

#include <string>

namespace saddlefit::host {

/// Where the database stands that comes with saddlefit (docs/collection.md): in the build tree,
/// under the prefix of the running program, in the Python package that holds this code, or where it
/// was meant to be installed. Empty if nowhere.
std::string collectionFile();

} // namespace saddlefit::host
