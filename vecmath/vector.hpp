/// Operations on three-component vectors that several files of this folder share. Every one
/// computes in the precision of its operands.
#pragma once

#include <algorithm>
#include <cmath>

namespace saddlefit {

template <class T> void subtract(const T *a, const T *b, T *out) {
    for (int i = 0; i < 3; ++i)
        out[i] = a[i] - b[i];
}

template <class T> T dot(const T *a, const T *b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

template <class T> void cross(const T *a, const T *b, T *out) {
    out[0] = a[1] * b[2] - a[2] * b[1];
    out[1] = a[2] * b[0] - a[0] * b[2];
    out[2] = a[0] * b[1] - a[1] * b[0];
}

template <class T> T magnitude(const T *v) {
    return std::sqrt(dot(v, v));
}

/// Components above this are scaled down before they are squared.
constexpr double prescaleLimit = 1000.0;
/// A vector shorter than this has no direction.
constexpr double shortestDirection = 1e-12;

/// Scale `v` so that its first three components have unit length; all `Components` share the scale.
/// Returns 0 if there is no direction: zero stays as it is, a vector next to zero becomes zero.
template <int Components, class T> int normalise(T *v) {
    const T largest = std::max({std::abs(v[0]), std::abs(v[1]), std::abs(v[2])});
    const auto divideBy = [v](T divisor) {
        std::for_each_n(v, Components, [divisor](T &value) { value /= divisor; });
    };
    if (largest > prescaleLimit)
        divideBy(largest);
    else if (largest == 0)
        return 0;

    const T length = magnitude(v);
    if (length < shortestDirection) {
        std::fill_n(v, Components, T(0));
        return 0;
    }
    divideBy(length);
    return 1;
}

template <class T> int normal(const T *a, const T *b, T *out) {
    cross(a, b, out);
    return normalise<3>(out);
}

} // namespace saddlefit
