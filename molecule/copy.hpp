/// Copies of molecules.
#pragma once

#include "molecule/memory.hpp"

#include <algorithm>
#include <new>
#include <span>

namespace saddlefit {

/// As allocateArray(), but throws std::bad_alloc if there is no memory.
template <class T> T *allocated(std::size_t count) {
    T *array = allocateArray<T>(count);
    if (!array) throw std::bad_alloc();
    return array;
}

/// A copy of an array on the C heap, of records that own nothing. Throws std::bad_alloc.
template <class T> OwnedBlock<T> copyOf(std::span<const T> records) {
    OwnedBlock<T> copy(allocated<T>(records.size()));
    std::ranges::copy(records, copy.get());
    return copy;
}

/// A copy of what makes up a molecule: name, atoms with their labels, bonds, constraints and
/// transitions. The index of bonds, rings and the host's blocks stay behind. Throws std::bad_alloc.
OwnedMol copyOf(const Molecule &mol);

/// A copy of a text on the C heap; null of null. Throws std::bad_alloc.
OwnedBlock<char> copyOf(const char *text);

} // namespace saddlefit
