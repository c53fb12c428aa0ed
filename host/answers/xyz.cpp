#include "host/answers/xyz.hpp"

#include "host/answers/saddle_fields.hpp"
#include "host/structures/xyz.hpp"

#include <utility>

namespace saddlefit::host {

namespace {

constexpr const char *numberKey = " record=";
constexpr const char *outcomeKey = " outcome=";

Piece pieceTitled(std::string_view titleLine) {
    const auto at = titleLine.rfind(numberKey);
    if (at == std::string_view::npos) return {};
    auto rest = titleLine.substr(at + std::string_view(numberKey).size());
    return {numberIn(takeWord(rest)).value_or(0), 0, std::string(titleLine.substr(0, at))};
}

} // namespace

std::string xyzAnswer(const Reaction &reaction, const Answer &answer) {
    const auto title = reaction.title + numberKey + std::to_string(reaction.number) + outcomeKey +
                       wordOf(answer.outcome);
    const auto middle = (answer.flanks.empty() ? title : title + " guess=middle") +
                        (answer.saddle ? saddleWords(*answer.saddle) : std::string{});
    auto records = xyzRecord(middle, placedAtoms(reaction, answer.bestCoordinates()));
    for (const auto &flank : answer.flanks)
        records +=
            xyzRecord(title + " guess=" + flank.like, placedAtoms(reaction, flank.coordinates));
    return records;
}

std::vector<Piece> xyzPieces(std::string_view text) {
    std::vector<Piece> pieces;
    for (CompleteLines lines(text); const auto first = lines.next();) {
        const auto count = onlyNumberIn(*first);
        if (!count) { // no XYZ file, so there are no further ends to be found
            pieces.push_back({0, lines.offset(), {}});
            break;
        }
        auto line = lines.next();
        auto piece = pieceTitled(line.value_or(""));
        for (std::size_t atom = 0; line && atom < *count; ++atom)
            line = lines.next();
        if (!line) break;
        piece.end = lines.offset();
        pieces.push_back(std::move(piece));
    }
    return pieces;
}

std::string xyzTitle(const std::string &title) {
    return title;
}

} // namespace saddlefit::host
