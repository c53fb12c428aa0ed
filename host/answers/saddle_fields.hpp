/// Saddle points in the data fields and title lines of structure files.
#pragma once

#include "host/saddle/reaction_saddle.hpp"

#include <string>

namespace saddlefit::host {

/// Name of the data field with the outcome, which is read again elsewhere.
inline constexpr const char *saddleField = "SADDLE";

/// Data fields of an SD record, each left out where empty:
///
///   SADDLE             what became of the search: verified, verified in 2 steps, other ends,
///                      higher order, not converged, failed
///   SADDLE_REASON      a sentence beside it
///   STRUCTURE          what the record holds: saddle point or guess
///   LEVEL              of energies and geometry: gfn2
///   CHECK              how the ends were come to: quick or fine
///   ENERGY             of the saddle point, hartree
///   BARRIER            from the reactant's end, kcal/mol
///   WAVENUMBER         of the lowest mode, cm-1; imaginary ones are negative
///   FLAT               yes for a barrier below 1 kcal/mol or a mode below 100 cm-1
///   GRADIENTS          how many were computed
///   SADDLE_REACTION    of other ends: the reaction that goes over this saddle point,
///   SMILES>>SMILES
std::string saddleFields(const ReactionSaddle &saddle);

/// Whether saddleFields() may write a field of this name.
bool isSaddleField(const std::string &name);

/// " saddle=\"other ends\" level=gfn2 energy_hartree=-10.1 barrier_kcal=23.4 wavenumber_cm=-1425.5
/// gradients=110"
std::string saddleWords(const ReactionSaddle &saddle);

} // namespace saddlefit::host
