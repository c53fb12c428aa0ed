/// What files of structures say about a transition state beside its geometry.
#pragma once

#include "host/reactions/reaction_files.hpp"
#include "host/store/side_record.hpp"

#include <string>

namespace saddlefit::host {

/// The facts in the data fields of the records of a reaction, over those in `otherwise`. Fields of
/// the transition state's record, each left out where it is not known:
///
///   LEVEL, PROGRAM, VERIFIED, SOURCE       text
///   LICENCE, DATE, FAMILY or REACTION      text
///   CHARGE, UNPAIRED                       whole numbers
///   ENERGY or ENERGY_HARTREE               also of both sides' records
///   BARRIER, REVERSE_BARRIER               kcal/mol, from the reactant, from the product
///   WAVENUMBER or IMAGINARY_FREQUENCY_CM1  cm-1, of either sign
///
/// and of the sides' records SMILES, or MAPPED_SMILES. A barrier that no field has follows from the
/// energies. The sides themselves, their atoms and bonds, are those of the reaction.
///
/// Throws Error, with the record's origin in front, for a number that is none.
SideRecord knownFactsOf(const Reaction &reaction, const SideRecord &otherwise);

/// The same fields, the first name of each, as parts of SD records: of the transition state, and of
/// a side.
std::string factFields(const SideRecord &record);
std::string factFields(const StoredSide &side);

} // namespace saddlefit::host
