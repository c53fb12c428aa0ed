// One reaction through the library.
#ifndef SADDLEFIT_CLI_REACTION_RUN_HPP
#define SADDLEFIT_CLI_REACTION_RUN_HPP

#include "saddlefit/host.h"

#include "cli/reaction/reaction_files.hpp"

#include <memory>
#include <string>
#include <vector>

namespace saddlefit::cli {

struct FreeMolecule {
    void operator()(Molecule *mol) const { C_freeMolecule(mol); }
};
using HostMolecule = std::unique_ptr<Molecule, FreeMolecule>;

// The reactant's atoms and bonds, labelled C1, O2, ..., with the reaction's coordinates and
// transitions.
HostMolecule buildMolecule(const Reaction &reaction);

// "C-N C-O", for a molecule with transitions.
std::string codeOf(Molecule *mol);

enum class Outcome { exact, partial, noMatch };

struct ReactionResult {
    Outcome outcome = Outcome::noMatch;
    std::string match; // the stored name; empty without a match
    std::string code;  // in symbols
    std::vector<Position> coordinates;
    std::vector<StructureBond> bonds;         // with transition-state types
    std::vector<int> frozen;                  // atoms, from 0
    std::vector<Constraint> startConstraints; // as they stood between start and finish
    std::vector<Constraint> constraints;      // as they stand at the end
};

// Start and finish a reaction. The library's progress lines go to standard error, or nowhere.
ReactionResult runReaction(const Reaction &reaction, const std::string &database, bool verbose);

// "exact NAME", "partial NAME" or "no match".
std::string describeMatch(const ReactionResult &result);

} // namespace saddlefit::cli

#endif
