/// The blocks behind staticMalloc().
#pragma once

#include <vector>

namespace saddlefit {

/// The blocks that live until staticFree(). The library itself registers a handful; a host may
/// register any number.
class ScratchRegistry {
public:
    static ScratchRegistry &ofProcess();

    ScratchRegistry() = default;
    ScratchRegistry(const ScratchRegistry &) = delete;
    ScratchRegistry &operator=(const ScratchRegistry &) = delete;
    ~ScratchRegistry() { release(); }

    /// As staticMalloc().
    void *provide(void *block, int size);
    /// As staticFree().
    void release();

private:
    struct Block {
        void *start;
        int size;
    };
    void *add(int size);

    std::vector<Block> blocks_;
};

} // namespace saddlefit
