#include "molecule/scratch.hpp"

#include "saddlefit/molecule.h"

#include "molecule/current.hpp"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace saddlefit {
namespace {

ScratchRegistry registryOfProcess;

std::size_t bytes(int size) {
    return size > 0 ? static_cast<std::size_t>(size) : 1;
}

} // namespace

ScratchRegistry &ScratchRegistry::ofProcess() {
    return registryOfProcess;
}

void *ScratchRegistry::provide(void *block, int size) {
    const auto known = std::ranges::find(blocks_, block, &Block::start);
    if (known == blocks_.end()) return add(size);
    if (size <= known->size) return block;
    void *resized = std::realloc(block, bytes(size));
    if (resized) *known = {resized, size};
    return resized;
}

void ScratchRegistry::release() {
    for (const Block &block : blocks_)
        std::free(block.start);
    blocks_.clear();
    blocks_.shrink_to_fit();
}

void *ScratchRegistry::add(int size) {
    try {
        blocks_.reserve(blocks_.size() + 1);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    void *block = std::malloc(bytes(size));
    if (block) blocks_.push_back({block, size});
    return block;
}

} // namespace saddlefit

void *staticMalloc(void *block, int size) {
    return saddlefit::Current<saddlefit::ScratchRegistry>::state().provide(block, size);
}

void staticFree(void) {
    saddlefit::Current<saddlefit::ScratchRegistry>::state().release();
}
