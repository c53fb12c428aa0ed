/// Answers as XYZ records.
#pragma once

#include "host/answers/answer.hpp"
#include "host/answers/pieces.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

/// The finished structure, in angstrom. Behind the reaction's title the title line has
/// "record=7 outcome=partial", and what saddleWords() says where a saddle point was searched for.
std::string xyzAnswer(const Reaction &reaction, const Answer &answer);

/// XYZ records; the number stands in the title line, as the last word of the kind "record=7": what
/// stands before it is the title, which may be anybody's text.
std::vector<Piece> xyzPieces(std::string_view text);

std::string xyzTitle(const std::string &title);

} // namespace saddlefit::host
