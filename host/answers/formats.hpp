/// The formats in which answers are written, each with the way back into its files.
#pragma once

#include "host/answers/json.hpp"
#include "host/answers/sdf.hpp"
#include "host/answers/xyz.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct AnswerFormat {
    std::string (*write)(const Reaction &, const Answer &);

    /// Null where a reaction that failed leaves nothing.
    std::string (*writeFailure)(std::size_t number, const std::string &title,
                                const std::string &error);

    /// The complete pieces at the beginning of a text, which may be cut off anywhere.
    std::vector<Piece> (*scan)(std::string_view text);

    /// A reaction's title as scan() finds it.
    std::string (*writtenTitle)(const std::string &title);
};

inline constexpr AnswerFormat sdfFormat{sdfRecords, nullptr, sdfPieces, sdfTitle};
inline constexpr AnswerFormat xyzFormat{xyzAnswer, nullptr, xyzPieces, xyzTitle};
inline constexpr AnswerFormat jsonFormat{jsonLine, jsonFailureLine, jsonPieces, jsonTitle};

} // namespace saddlefit::host
