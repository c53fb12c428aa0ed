/// The reaction of which a stored record is the transition state.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/store/stored_record.hpp"

#include <optional>
#include <string>

namespace saddlefit::host {

/// A reaction that becomes the record once its transitions are applied, at the record's
/// coordinates. Several may, as half-way types leave open where a bond came from; those with the
/// usual orders are taken. Nothing if no order of some bond leads to the type that is stored. A
/// change's `after` is what the transitions leave of the bond at the end of the reaction.
std::optional<Reaction> reactionOf(const StoredRecord &record, const std::string &path);

} // namespace saddlefit::host
