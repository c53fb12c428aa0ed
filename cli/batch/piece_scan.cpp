#include "cli/batch/piece_scan.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace saddlefit::cli {

namespace {

class CompleteLines {
public:
    explicit CompleteLines(std::string_view text) : text_(text) {}

    std::optional<std::string_view> next() {
        const auto newline = text_.find('\n', offset_);
        if (newline == std::string_view::npos) return std::nullopt;
        const auto line = text_.substr(offset_, newline - offset_);
        offset_ = newline + 1;
        return line;
    }

    std::size_t offset() const { return offset_; } // behind the line that next() gave last

private:
    std::string_view text_;
    std::size_t offset_ = 0;
};

constexpr std::string_view blanks = " \t\r";

std::string_view nextWord(std::string_view &line) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const auto word = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(word.size());
    return word;
}

std::optional<std::size_t> numberIn(std::string_view word) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
    return number;
}

std::optional<std::size_t> onlyNumberIn(std::string_view line) {
    const auto number = numberIn(nextWord(line));
    return nextWord(line).empty() ? number : std::nullopt;
}

bool headsRecordField(std::string_view line) {
    return line.starts_with('>') && line.find("<RECORD>") != std::string_view::npos;
}

Piece jsonPiece(std::string_view line, std::size_t end) {
    Piece piece{0, end, {}};
    const auto object = nlohmann::json::parse(line, nullptr, false);
    if (!object.is_object()) return piece;
    const auto record = object.find("record"), title = object.find("title");
    if (record != object.end() && record->is_number_unsigned()) record->get_to(piece.item);
    if (title != object.end() && title->is_string()) title->get_to(piece.title);
    return piece;
}

Piece xyzPiece(std::string_view titleLine) {
    constexpr std::string_view key = " record=";
    const auto at = titleLine.rfind(key);
    if (at == std::string_view::npos) return {0, 0, {}};
    auto rest = titleLine.substr(at + key.size());
    return {numberIn(nextWord(rest)).value_or(0), 0, std::string(titleLine.substr(0, at))};
}

} // namespace

std::vector<Piece> sdfPieces(std::string_view text) {
    std::vector<Piece> pieces;
    Piece piece{0, 0, {}};
    bool begins = true, numberFollows = false;
    for (CompleteLines lines(text); const auto line = lines.next();) {
        if (std::exchange(begins, false)) piece.title = *line;
        if (numberFollows && piece.item == 0) piece.item = onlyNumberIn(*line).value_or(0);
        numberFollows = headsRecordField(*line);
        if (!line->starts_with("$$$$")) continue;
        piece.end = lines.offset();
        pieces.push_back(std::exchange(piece, {0, 0, {}}));
        begins = true;
    }
    return pieces;
}

std::vector<Piece> jsonLinePieces(std::string_view text) {
    std::vector<Piece> pieces;
    for (CompleteLines lines(text); const auto line = lines.next();)
        pieces.push_back(jsonPiece(*line, lines.offset()));
    return pieces;
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
        auto piece = xyzPiece(line.value_or(""));
        for (std::size_t atom = 0; line && atom < *count; ++atom)
            line = lines.next();
        if (!line) break;
        piece.end = lines.offset();
        pieces.push_back(std::move(piece));
    }
    return pieces;
}

} // namespace saddlefit::cli
