/// What a database is made of.
#pragma once

#include "host/store/catalogue.hpp"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace saddlefit::host {

/// How many records have what a word or a number says.
using Counts = std::map<std::string, std::size_t>;

struct Statistics {
    std::size_t records = 0; ///< sound ones
    std::size_t damaged = 0;
    std::size_t known = 0; ///< with a side record
    std::size_t refused = 0;
    Counts codes;    ///< by elements of the changing bonds
    Counts elements; ///< of records in which they occur
    Counts levels;
    Counts families;
    std::map<int, std::size_t> atoms;    ///< by their number
    std::map<int, std::size_t> barriers; ///< by tens of kcal/mol: 20 is 20 up to 30

    /// The most frequent first, equally frequent ones by their names; at most so many.
    static std::vector<std::pair<std::string, std::size_t>> mostFrequent(const Counts &counts,
                                                                         std::size_t most);
};

Statistics statisticsOf(const Catalogue &catalogue);

/// As a picture (SVG): bars for codes, elements, sizes and barriers.
std::string pictureOf(const Statistics &statistics, const std::string &title);

} // namespace saddlefit::host
