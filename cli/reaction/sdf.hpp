// Finished reactions as SD records.
#ifndef SADDLEFIT_CLI_SDF_HPP
#define SADDLEFIT_CLI_SDF_HPP

#include "cli/reaction/reaction_run.hpp"

#include <string>

namespace saddlefit::cli {

// Names of data fields that are read again elsewhere.
inline constexpr const char *outcomeField = "OUTCOME";
inline constexpr const char *matchField = "MATCH";
inline constexpr const char *changedBondsField = "CHANGED_BONDS";
inline constexpr const char *constraintsField = "CONSTRAINTS";

// The record of a finished reaction. Atoms are counted from 1 everywhere in it.
//
// The bond block holds the transition state's bonds; those of order 0, which are about to form or
// break, have no MDL type and stand in PARTIAL_BONDS. Data fields, each left out where empty:
//
//   OUTCOME            exact, partial or none
//   MATCH              name of the stored structure
//   TRANSITION_CODE    element pairs of the changed bonds, "C-N C-O"
//   TRANSITIONS        a line per transition: falling bond, rising bond, 0 0 for none
//   CHANGED_BONDS      a line per bond: atoms, MDL type in the reactant, in the product
//   PARTIAL_BONDS      a line per bond: atoms
//   CONSTRAINTS        a line per constraint of the finished molecule: kind, atoms, value, unit
//   START_CONSTRAINTS  with a partial match, the distances that held until the finish
//   FROZEN_ATOMS       atoms placed from the stored structure
//
// Throws UserError if the structure does not fit the format.
std::string sdfRecord(const Reaction &reaction, const ReactionResult &result);

// The lines of the field TRANSITIONS.
std::string transitionLines(const std::vector<Transition> &transitions);

} // namespace saddlefit::cli

#endif
