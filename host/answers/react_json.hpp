// Answers for programs: a JSON object per reaction, as docs/react.schema.json describes it.
#pragma once

#include "host/answers/answer.hpp"

#include <string>

namespace saddlefit::host {

// In one line, with its newline. Atoms count from 1.
std::string jsonLine(const Reaction &reaction, const Answer &answer);

// The same for a reaction that failed.
std::string jsonFailureLine(std::size_t number, const std::string &title, const std::string &error);

} // namespace saddlefit::host
