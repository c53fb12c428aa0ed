#pragma once

#include <cstdint>
#include <string_view>

namespace saddlefit::collection {

/// The same numbers on every machine: splitmix64 (Steele, Lea and Flood, OOPSLA 2014).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    /// From 0 up to, not including, 1.
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

private:
    std::uint64_t state_;
};

/// A seed of its own for each thing that has a name.
inline std::uint64_t seedFor(std::uint64_t seed, std::string_view name) {
    for (const char c : name)
        seed = Random(seed ^ static_cast<unsigned char>(c)).next();
    return seed;
}

} // namespace saddlefit::collection
