// Where the complete pieces of an output file end.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::cli {

// What one item wrote into a file.
struct Piece {
    std::size_t item;  // its number, from 1; 0 if a complete piece bears none
    std::size_t end;   // offset behind it
    std::string title; // the item's, as it stands in the file
};

// Finds the complete pieces at the beginning of a text. It may be cut off anywhere; a line that
// lacks its newline is no line.
using PieceScanner = std::vector<Piece> (*)(std::string_view text);

// SD records; the number stands in the data field RECORD, the title in the first line.
std::vector<Piece> sdfPieces(std::string_view text);

// A JSON object per line; the number is its member "record", the title its member "title".
std::vector<Piece> jsonLinePieces(std::string_view text);

// XYZ records; the number stands in the title line, as the last word of the kind "record=7": what
// stands before it is the title, which may be anybody's text.
std::vector<Piece> xyzPieces(std::string_view text);

} // namespace saddlefit::cli
