/// Vibrations out of what other programs wrote.
#pragma once

#include "host/structures/structure.hpp"

#include <optional>
#include <string>
#include <vector>

namespace saddlefit::host {

struct NormalMode {
    double wavenumber = 0.0;             ///< cm-1; imaginary ones are negative
    std::vector<Position> displacements; ///< in space, of any length
};

struct FrequencyJob {
    std::string program;              ///< "Gaussian", "psi4", "NWChem" or "ORCA"
    std::vector<StructureAtom> atoms; ///< angstrom, as the displacements stand
    std::vector<NormalMode> modes;    ///< without those that are no vibrations; softest first
};

/// The last vibrations in the output of Gaussian (of xtb the file g98.out), psi4 or NWChem, or in
/// a file .hess of ORCA. Nothing in any other text. Throws Error if it has a structure of another
/// size than its modes.
std::optional<FrequencyJob> frequencyJobIn(const std::string &text);

} // namespace saddlefit::host
