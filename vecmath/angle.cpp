// Angles come from the arc tangent of sine and cosine, which keeps its digits near 0 and pi where
// an arc cosine loses half of them.
#include "saddlefit/vecmath.h"

#include "vecmath/vector.hpp"

#include <algorithm>
#include <type_traits>

using namespace saddlefit;

namespace {

template <class T> T rawAngle(const T *a, const T *b) {
    T product[3];
    cross(a, b, product);
    return std::atan2(magnitude(product), dot(a, b));
}

template <class T> T angle(const T *a, const T *b) {
    T u[3], v[3];
    std::copy_n(a, 3, u);
    std::copy_n(b, 3, v);
    // Left to the arc tangent, a dot product of -0.0 would make the angle of a zero vector pi.
    if (!normalise<3>(u) || !normalise<3>(v)) return 0;
    return rawAngle(u, v);
}

template <class T> void direction(const T *from, const T *to, T *out) {
    subtract(to, from, out);
    normalise<3>(out);
}

template <class T> T angleAt(const T *a, const T *vertex, const T *c) {
    T u[3], v[3];
    direction(vertex, a, u);
    direction(vertex, c, v);
    return angle(u, v);
}

/// What the sign of a dihedral is read from. The two precisions count it in opposite senses.
template <class T> void turningAxis(const T *first, const T *second, T *out) {
    if constexpr (std::is_same_v<T, double>)
        normal(first, second, out);
    else
        normal(second, first, out);
}

template <class T> T dihedral(const T *a, const T *b, const T *c, const T *d) {
    T toA[3], toC[3], toB[3], toD[3], firstNormal[3], secondNormal[3], axis[3];
    direction(b, a, toA);
    direction(b, c, toC);
    normal(toA, toC, firstNormal);
    direction(c, b, toB);
    direction(c, d, toD);
    normal(toB, toD, secondNormal);

    const T theta = rawAngle(firstNormal, secondNormal);
    turningAxis(firstNormal, secondNormal, axis);
    return dot(toC, axis) < 0 ? -theta : theta;
}

} // namespace

#define SADDLEFIT_ANGLE_EXPORTS(S, T)                                                              \
    double V_NAngle##S(const T *a, const T *b) {                                                   \
        return rawAngle(a, b);                                                                     \
    }                                                                                              \
    double V_Angle##S(const T *a, const T *b) {                                                    \
        return angle(a, b);                                                                        \
    }                                                                                              \
    double V_Angle3##S(const T *a, const T *b, const T *c) {                                       \
        return angleAt(a, b, c);                                                                   \
    }                                                                                              \
    double V_Dihedral##S(const T *a, const T *b, const T *c, const T *d) {                         \
        return dihedral(a, b, c, d);                                                               \
    }

SADDLEFIT_ANGLE_EXPORTS(, float)
SADDLEFIT_ANGLE_EXPORTS(d, double)
