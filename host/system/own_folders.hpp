/// Where this program stands.
#pragma once

#include <filesystem>
#include <vector>

namespace saddlefit::host {

/// The folders of the file that holds this code and of the running program. What is installed with
/// them, or built with them, is found from there.
std::vector<std::filesystem::path> ownFolders();

} // namespace saddlefit::host
