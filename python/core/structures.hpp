/// A structure as Python gives it.
#pragma once

#include "host/structures/structure.hpp"
#include "python/core/arrays.hpp"

#include <optional>

namespace saddlefit::python {

/// What may be known of each atom beside its element and its place.
struct PerAtom {
    std::optional<Integers> charges, mapNumbers;
};

/// Of atoms and, where they are known, bonds. Throws ValueError for what is none.
host::Structure structureOf(const Integers &numbers, const Reals &positions,
                            const std::optional<Integers> &bonds, const PerAtom &known,
                            const py::str &title);

} // namespace saddlefit::python
