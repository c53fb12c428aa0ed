#include "saddlefit/molecule.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

struct ScratchBlock {
    void *block;
    int size;
};

/// The blocks that live until staticFree(). The library itself registers a handful; a host may
/// register any number.
struct ScratchRegistry {
    std::vector<ScratchBlock> blocks;

    ScratchRegistry() = default;
    ScratchRegistry(const ScratchRegistry &) = delete;
    ScratchRegistry &operator=(const ScratchRegistry &) = delete;
    ~ScratchRegistry() { release(); }

    void release() {
        for (const ScratchBlock &entry : blocks)
            std::free(entry.block);
        blocks.clear();
        blocks.shrink_to_fit();
    }
};

ScratchRegistry registry;

std::size_t bytes(int size) {
    return size > 0 ? static_cast<std::size_t>(size) : 1;
}

void *registerBlock(int size) {
    try {
        registry.blocks.reserve(registry.blocks.size() + 1);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    void *block = std::malloc(bytes(size));
    if (block) registry.blocks.push_back({block, size});
    return block;
}

} // namespace

void *staticMalloc(void *block, int size) {
    const auto known = std::ranges::find(registry.blocks, block, &ScratchBlock::block);
    if (known == registry.blocks.end()) return registerBlock(size);
    if (size <= known->size) return block;
    void *resized = std::realloc(block, bytes(size));
    if (resized) *known = {resized, size};
    return resized;
}

void staticFree(void) {
    registry.release();
}
