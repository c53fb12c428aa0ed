// Answers as a page to look at.
#pragma once

#include "cli/host.hpp"

#include <string>
#include <vector>

namespace saddlefit::cli {

// The page of all answers in files of JSON lines, in the order of the files.
// Throws Error if one cannot be read, or a line of it is no answer.
std::string pageOfFiles(const std::string &title, const std::vector<std::string> &jsonFiles);

} // namespace saddlefit::cli
