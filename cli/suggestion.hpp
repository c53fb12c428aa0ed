/// What somebody may have meant.
#pragma once

#include <string>
#include <vector>

namespace saddlefit::cli {

/// The word that is nearest by letters left out, put in, replaced or exchanged; empty if more than
/// one in three of them would have to be.
std::string nearestWord(const std::string &word, const std::vector<std::string> &known);

} // namespace saddlefit::cli
