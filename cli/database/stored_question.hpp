// The reaction of which a stored record is the transition state.
#ifndef SADDLEFIT_CLI_STORED_QUESTION_HPP
#define SADDLEFIT_CLI_STORED_QUESTION_HPP

#include "cli/database/record_scan.hpp"
#include "cli/reaction/reaction_files.hpp"

#include <optional>
#include <string>

namespace saddlefit::cli {

// A reaction that becomes the record once its transitions are applied, at the record's coordinates.
// Several may, as half-way types leave open where a bond came from; those with the usual orders are
// taken. Nothing if no order of some bond leads to the type that is stored.
// A change's `after` is what the transitions leave of the bond at the end of the reaction.
std::optional<Reaction> reactionOf(const StoredRecord &record, const std::string &origin);

} // namespace saddlefit::cli

#endif
