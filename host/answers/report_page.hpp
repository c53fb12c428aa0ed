/// Answers for the eye: one HTML page with everything in it that it shows.
#pragma once

#include <string>
#include <string_view>

namespace saddlefit::host {

/// A page that needs no network: a list of the reactions with filters and an order, and for each of
/// them the structures in three dimensions and tables of what was found. Where a browser has no
/// WebGL the tables are left.
///
/// `jsonLines` is what jsonLine() and jsonFailureLine() give, in any number and order; an empty
/// line says nothing. The text of the lines is made harmless for HTML here, and so is the title.
std::string reportPage(const std::string &title, std::string_view jsonLines);

/// What is wrong with a line that is no answer of `saddlefit react --json`; empty for one that is.
std::string complaintAboutJsonLine(std::string_view line);

} // namespace saddlefit::host
