// Reactions out of files that belong together record by record.
#ifndef SADDLEFIT_CLI_REACTION_FILES_HPP
#define SADDLEFIT_CLI_REACTION_FILES_HPP

#include "cli/files/reader.hpp"
#include "cli/reaction/transitions.hpp"

#include <functional>
#include <string>
#include <vector>

namespace saddlefit::cli {

// Record i of each file is the same reaction, with the same atoms in the same order.
struct ReactionFiles {
    std::string reactants;
    std::string products;
    std::string geometries; // empty: the reactants' own coordinates
};

struct Reaction {
    std::string title;         // the reactant's; "record 3" where it has none
    std::string geometryTitle; // of the record that the coordinates are from; as above
    Structure reactant;
    Structure product;
    std::vector<Position> coordinates; // to begin with
    std::vector<BondChange> changes;
    std::vector<Transition> transitions;
};

// Hand each reaction of the files to `work`, in file order. One that cannot be read, or for which
// `work` throws a UserError, is reported and left out. Returns how many were.
// Throws UserError when the files as such do not fit together.
int forEachReaction(const ReactionFiles &files, const std::function<void(const Reaction &)> &work);

// Throws unless both have the same elements in the same order.
void requireSameAtoms(const Structure &structure, const Structure &other);

} // namespace saddlefit::cli

#endif
