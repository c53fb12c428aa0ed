/// Answers as a page to look at.
#pragma once

#include "cli/host.hpp"

#include <string>
#include <vector>

namespace saddlefit::cli {

/// Write the page of all answers in files of JSON lines, in the order of the files; "-" for the
/// standard output. Throws Error if one cannot be read, or a line of it is no answer.
void writePage(const std::string &target, const std::string &title,
               const std::vector<std::string> &jsonFiles);

/// For before a long run: throws Error if there can be no such file.
void requirePageCanBeWritten(const std::string &target);

} // namespace saddlefit::cli
