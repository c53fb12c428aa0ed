// What is doubtful in the records of a reaction, though it can be worked with.
#ifndef SADDLEFIT_CLI_DOUBTS_HPP
#define SADDLEFIT_CLI_DOUBTS_HPP

#include "cli/files/structure.hpp"

#include <string>
#include <vector>

namespace saddlefit::cli {

// A sentence each: hydrogens that seem to be left out, isotopes.
std::vector<std::string> doubtsAbout(const Structure &reactant, const Structure &product);

// Throws UserError if both sides carry map numbers, and these pair atoms otherwise than the order
// of the atoms does.
void requireMapsInOrder(const Structure &product, const Structure &reactant);

} // namespace saddlefit::cli

#endif
