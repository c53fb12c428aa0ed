/// Optimisation by the program xtb.
#pragma once

#include "host/programs/constraint_files.hpp"

#include <string>
#include <vector>

namespace saddlefit::host {

struct XtbOptions {
    std::string method = "gfn2"; ///< or gfn1, gfn0, gfnff
    double timeLimit = 300;      ///< seconds
    std::string program = "xtb"; ///< found by PATH, or a path
    std::string folder; ///< in which it gets a folder to work in; empty: see TemporaryFolder
};

/// Optimise all atoms that are not fixed under the constraints; gives the new positions in the
/// molecule's order, fixed atoms exactly where they were. Works in a temporary folder, on one core.
///
/// Throws Error if xtb is not installed, fails (with the end of what it said), takes too long,
/// or gives other atoms, moved fixed ones or coordinates that are no finite numbers.
std::vector<Position> optimiseWithXtb(const ConstrainedMolecule &molecule,
                                      const XtbOptions &options);

} // namespace saddlefit::host
