/// A structure as Python gives it.
#pragma once

#include "host/structures/structure.hpp"
#include "python/core/arrays.hpp"

#include <optional>

namespace saddlefit::python {

/// Of atoms and, where they are known, bonds. Throws ValueError for what is none.
host::Structure structureOf(const Integers &numbers, const Reals &positions,
                            const std::optional<Integers> &bonds,
                            const std::optional<Integers> &charges, const py::str &title);

} // namespace saddlefit::python
