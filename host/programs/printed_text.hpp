/// What programs print, line by line.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

/// The words of a line, parted by white space.
std::vector<std::string> wordsIn(const std::string &line);

/// A number, as C or as Fortran writes it ("1.5D+00"); nothing for any other word.
std::optional<double> numberIn(std::string word);

std::string inLowerCase(std::string text);

} // namespace saddlefit::host
