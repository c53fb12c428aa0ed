/// What programs read and write for one energy with its gradient.
#pragma once

#include "host/programs/gradient_job.hpp"

#include <string>

namespace saddlefit::host {

/// Inputs, with the method as the program has it: ORCA's words of its line "!", Gaussian's of its
/// route, psi4's "method/basis", NWChem's "xc/basis" with hf and mp2 beside the names of
/// functionals, MOPAC's keyword.
/// Throws Error for a method that cannot be written.
std::string orcaGradientInput(const GradientJob &job);
std::string gaussianGradientInput(const GradientJob &job);
std::string psi4GradientInput(const GradientJob &job); ///< which writes an .engrad file
std::string nwchemGradientInput(const GradientJob &job);
std::string mopacGradientInput(const GradientJob &job);
std::string xyzWithElectrons(const GradientJob &job);

/// Outputs: an .engrad file, Gaussian's log, NWChem's, MOPAC's .aux file. What is missing is not
/// there in the result: no gradient, or a shorter one, and an energy that is no number.
EnergyAndGradient engradIn(const std::string &text);
EnergyAndGradient gaussianGradientIn(const std::string &text);
EnergyAndGradient nwchemGradientIn(const std::string &text);
EnergyAndGradient mopacGradientIn(const std::string &text);

} // namespace saddlefit::host
