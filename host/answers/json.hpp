/// Answers for programs: a JSON object per reaction, as docs/react.schema.json describes it.
#pragma once

#include "host/answers/answer.hpp"
#include "host/answers/pieces.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

/// In one line, with its newline. Atoms count from 1.
std::string jsonLine(const Reaction &reaction, const Answer &answer);

/// The same for a reaction that failed.
std::string jsonFailureLine(std::size_t number, const std::string &title, const std::string &error);

/// A JSON object per line, with the number and the title as members of the object itself.
std::vector<Piece> jsonPieces(std::string_view text);

/// In UTF-8, with replacement characters for what is none.
std::string jsonTitle(const std::string &title);

} // namespace saddlefit::host
