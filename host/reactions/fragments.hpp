/// The molecules of a structure.
#pragma once

#include "host/structures/structure.hpp"

#include <vector>

namespace saddlefit::host {

/// The atoms of one molecule, ascending.
using Fragment = std::vector<int>;

/// What bonds hold together, by the lowest atom. Bonds of type 0 hold nothing.
std::vector<Fragment> fragmentsOf(const Structure &structure);

/// Per atom the number of its fragment.
std::vector<int> fragmentNumbers(const std::vector<Fragment> &fragments, std::size_t atoms);

/// One fragment as a structure of its own, without title and fields.
Structure fragmentIn(const Structure &structure, const Fragment &fragment);

} // namespace saddlefit::host
