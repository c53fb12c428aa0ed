/// Handedness of atoms.
#pragma once

#include "host/structures/structure.hpp"

#include <string>

namespace saddlefit::host {

/// A letter per atom: R, S, or - where there is no code. Throws Error if there is no memory.
std::string stereoCodes(const Structure &structure);

} // namespace saddlefit::host
