/// Where the lengths of changing bonds are from.
#pragma once

#include "host/answers/answer.hpp"

#include <cstddef>

namespace saddlefit::host {

enum class LengthSource {
    match,    ///< the stored structure that the centre stands on
    database, ///< the stored bonds in such surroundings, by their medians
    estimate, ///< the covalent radii: the database has no bond of these elements
    library,  ///< the library's own rule, without a stage that asks the database
    start     ///< the start geometry: the match has no such bond
};

template <>
inline constexpr auto wordsFor<LengthSource> =
    std::to_array<Word<LengthSource>>({{LengthSource::match, "match"},
                                       {LengthSource::database, "database"},
                                       {LengthSource::estimate, "estimate"},
                                       {LengthSource::library, "library"},
                                       {LengthSource::start, "start"}});

/// Of a usual length: LengthSource::database or LengthSource::estimate.
LengthSource sourceOf(const UsualLength &usual);

/// Of the length that a changing bond has in the answer's structure.
LengthSource lengthSource(const Answer &answer, std::size_t change);

} // namespace saddlefit::host
