/// Finished reactions as SD records.
#pragma once

#include "host/answers/answer.hpp"
#include "host/answers/pieces.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

/// Names of data fields that are read again elsewhere.
inline constexpr const char *recordField = "RECORD";
inline constexpr const char *outcomeField = "OUTCOME";
inline constexpr const char *matchField = "MATCH";
inline constexpr const char *changedBondsField = "CHANGED_BONDS";
inline constexpr const char *constraintsField = "CONSTRAINTS";

/// The record of a finished reaction, and one for each flank of the answer. Atoms are counted from
/// 1 everywhere in it.
///
/// The bond block holds the bonds that last, with their types in the reactant; what changes stands
/// in CHANGED_BONDS, and bonds of order 0 in the transition state in PARTIAL_BONDS too. Data
/// fields, each left out where empty:
///
///   RECORD             number of the reaction in the files that it was read from
///   GUESS              of several: middle, like the reactant, like the product
///   OUTCOME            exact, partial or none
///   STAGE              that answered: full, sigma or lengths
///   MATCH              name of the stored structure
///   SPREAD             with several matches, how far apart they put the changing bonds, angstrom
///   EXPECTED_ERROR     how far made and broken bonds are likely to be off, angstrom
///   RELAXED            what moved the atoms that are not frozen
///   CHARGE, UNPAIRED   of the molecule; electrons
///   STRAINS            what is wrong with the structure, a line each
///   WARNINGS           what is doubtful in the records, a line each
///   PRODUCT_ATOMS      where the atoms are not paired by their order: per atom its number in the
///                      record of the product
///   RIVAL_MAPS         a line per other pairing with as few bonds broken and formed: these bonds,
///                      and the match
///   TRANSITION_CODE    element pairs of the changed bonds, "C-N C-O"
///   TRANSITIONS        a line per transition: falling bond, rising bond, 0 0 for none
///   CHANGED_BONDS      a line per bond: atoms, MDL type in the reactant, in the product
///   LENGTH_SOURCES     a line per bond of these: atoms, where its length is from (LengthSource)
///   PARTIAL_BONDS      a line per bond: atoms
///   CONSTRAINTS        a line per constraint of the finished molecule: kind, atoms, value, unit
///   START_CONSTRAINTS  with a partial match, the distances that held until the finish
///   FROZEN_ATOMS       atoms placed from the stored structure
///
/// Where a saddle point was searched for, the fields of saddle_fields.hpp follow, and if one was
/// found the record has its coordinates; constraints, frozen atoms and bonds remain the guess's.
///
/// Throws Error if the structure does not fit the format.
std::string sdfRecords(const Reaction &reaction, const Answer &answer);

/// What a reader of a file can make a molecule of: bonds that neither break nor form, as they are
/// in the reactant. Orders between two orders, which such files do not have, would be taken for
/// aromatic ones.
std::vector<StructureBond> lastingBonds(const Reaction &reaction, const Answer &answer);

/// SD records; the number stands in the data field RECORD, the title in the first line.
std::vector<Piece> sdfPieces(std::string_view text);

/// What would end the record is not left as it is.
std::string sdfTitle(const std::string &title);

/// The lines of the field TRANSITIONS.
std::string transitionLines(const std::vector<Transition> &transitions);

} // namespace saddlefit::host
