/// Handedness and double bonds as they were written, without coordinates.
#pragma once

#include "host/structures/babel_protocol.hpp"
#include "host/structures/structure.hpp"

#include <span>
#include <vector>

namespace saddlefit::host {

struct StereoMarks {
    std::vector<babel::TetrahedralCentre> centres;
    std::vector<babel::DoubleBond> doubleBonds;
};

struct MarkedStructure {
    Structure structure;
    StereoMarks marks;
};

/// How many of the marks these positions do not show; flat centres are among them.
int unkeptMarks(const StereoMarks &marks, std::span<const Position> positions);

/// The marks where atom i has become atom places[i]. Those that name an atom whose place is below 0
/// are left out.
StereoMarks renumbered(const StereoMarks &marks, std::span<const int> places);

} // namespace saddlefit::host
