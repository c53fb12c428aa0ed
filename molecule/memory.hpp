/// Blocks of the C heap, which the records share with their host, and owners for them.
#pragma once

#include "saddlefit/molecule.h"

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <type_traits>

namespace saddlefit {

struct FreeBlock {
    void operator()(void *block) const noexcept { std::free(block); }
};
template <class T> using OwnedBlock = std::unique_ptr<T, FreeBlock>;

struct FreeMol {
    void operator()(Molecule *mol) const noexcept { freeMol(mol); }
};
using OwnedMol = std::unique_ptr<Molecule, FreeMol>;

/// A zero-filled array on the C heap; null if there is no memory. Never null otherwise, even for
/// a count of 0.
template <class T> T *allocateArray(std::size_t count) {
    static_assert(std::is_trivially_copyable_v<T>);
    return static_cast<T *>(std::calloc(count ? count : 1, sizeof(T)));
}

/// Resize an array on the C heap. False, and nothing changed, if there is no memory.
template <class T> bool resizeArray(T *&array, std::size_t count) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return false;
    void *block = std::realloc(static_cast<void *>(array), (count ? count : 1) * sizeof(T));
    if (!block) return false;
    array = static_cast<T *>(block);
    return true;
}

/// Release a block and forget it.
template <class T> void releaseBlock(T *&block) {
    std::free(static_cast<void *>(block));
    block = nullptr;
}

/// The one place that stops exceptions at the interface: a body that runs out of memory answers
/// with its failure value.
template <class Result, class Body> Result guarded(Result onFailure, Body body) noexcept {
    try {
        return body();
    } catch (...) {
        return onFailure;
    }
}

} // namespace saddlefit
