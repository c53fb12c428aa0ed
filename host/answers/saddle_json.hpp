/// Saddle points for programs, as docs/react.schema.json describes them.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/saddle/reaction_saddle.hpp"
#include "host/system/json.hpp"

namespace saddlefit::host {

/// The member "saddle" of an answer. Atoms and attempts count from 1.
Json saddleObject(const std::vector<StructureAtom> &atoms, const ReactionSaddle &saddle);

/// Symbols and positions.
Json atomsObject(const std::vector<StructureAtom> &atoms, const std::vector<Position> &positions);

} // namespace saddlefit::host
