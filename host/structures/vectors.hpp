/// Positions as vectors.
#pragma once

#include "host/structures/structure.hpp"

#include <cmath>

namespace saddlefit::host {

inline Position between(const Position &from, const Position &to) {
    return {to.x - from.x, to.y - from.y, to.z - from.z};
}

inline double dot(const Position &u, const Position &v) {
    return u.x * v.x + u.y * v.y + u.z * v.z;
}

inline Position cross(const Position &u, const Position &v) {
    return {u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
}

inline double lengthOf(const Position &u) {
    return std::sqrt(dot(u, u));
}

} // namespace saddlefit::host
