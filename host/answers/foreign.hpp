/// Answers in formats that Open Babel writes.
#pragma once

#include "host/answers/answer.hpp"

#include <string>

namespace saddlefit::host {

/// Throws Error unless Open Babel writes the format of this extension.
void requireForeignFormat(const std::string &extension);

/// Whether records of the format may stand one behind the other.
bool holdsSeveralRecords(const std::string &extension);

/// What an answer comes to: the molecule where it was placed, with the bonds that last.
Structure finishedStructure(const Reaction &reaction, const Answer &answer);

/// A record of it, under its title.
std::string foreignRecord(const std::string &extension, const Structure &structure);

std::string foreignRecord(const std::string &extension, const Reaction &reaction,
                          const Answer &answer);

} // namespace saddlefit::host
