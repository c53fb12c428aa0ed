#include "vecmath/vector.hpp"

#include "saddlefit/vecmath.h"

#include <algorithm>

using namespace saddlefit;

namespace {

template <class T> void add(const T *a, const T *b, T *out) {
    for (int i = 0; i < 3; ++i)
        out[i] = a[i] + b[i];
}

template <class T> void scale(T factor, const T *v, T *out) {
    for (int i = 0; i < 3; ++i)
        out[i] = factor * v[i];
}

template <class T> void negate(T *v) {
    for (int i = 0; i < 3; ++i)
        v[i] = -v[i];
}

template <class T> T squaredDistance(const T *a, const T *b) {
    T difference[3];
    subtract(a, b, difference);
    return dot(difference, difference);
}

template <class T> T distance(const T *a, const T *b) {
    return std::sqrt(squaredDistance(a, b));
}

template <class T> T distanceFromPlane(const T *point, const T *origin, const T *planeNormal) {
    T unit[3];
    std::copy_n(planeNormal, 3, unit);
    normalise<3>(unit);
    return dot(unit, point) - dot(unit, origin);
}

template <class T> int perpendicular(const T *v, T *out) {
    T unit[3];
    std::copy_n(v, 3, unit);
    if (!normalise<3>(unit)) {
        std::fill_n(out, 3, T(0));
        return 0;
    }
    const T alongX[3] = {1, 0, 0};
    const T alongY[3] = {0, 1, 0};
    if (!normal(alongX, unit, out)) normal(alongY, unit, out);
    return 1;
}

template <class T> int normaliseFrom(T *v, T threshold) {
    const T length = magnitude(v);
    if (!(length >= threshold)) { // also a length that is not a number
        std::fill_n(v, 3, T(0));
        return 0;
    }
    std::for_each_n(v, 3, [length](T &value) { value /= length; });
    return 1;
}

} // namespace

#define SADDLEFIT_VECTOR_EXPORTS(S, T)                                                             \
    void V_Add##S(const T *a, const T *b, T *out) {                                                \
        add(a, b, out);                                                                            \
    }                                                                                              \
    void V_Sub##S(const T *a, const T *b, T *out) {                                                \
        subtract(a, b, out);                                                                       \
    }                                                                                              \
    void V_Mult##S(T s, const T *v, T *out) {                                                      \
        scale(s, v, out);                                                                          \
    }                                                                                              \
    void V_Neg##S(T *v) {                                                                          \
        negate(v);                                                                                 \
    }                                                                                              \
    double V_Dot##S(const T *a, const T *b) {                                                      \
        return dot(a, b);                                                                          \
    }                                                                                              \
    void V_Cross##S(const T *a, const T *b, T *out) {                                              \
        cross(a, b, out);                                                                          \
    }                                                                                              \
    double V_Mag##S(const T *v) {                                                                  \
        return magnitude(v);                                                                       \
    }                                                                                              \
    double V_SMag##S(const T *v) {                                                                 \
        return dot(v, v);                                                                          \
    }                                                                                              \
    double V_Dist##S(const T *a, const T *b) {                                                     \
        return distance(a, b);                                                                     \
    }                                                                                              \
    double V_Distsq##S(const T *a, const T *b) {                                                   \
        return squaredDistance(a, b);                                                              \
    }                                                                                              \
    int V_Norm##S(T *v) {                                                                          \
        return normalise<3>(v);                                                                    \
    }                                                                                              \
    int V_Norm4##S(T *v) {                                                                         \
        return normalise<4>(v);                                                                    \
    }                                                                                              \
    int V_Normt##S(T *v, T threshold) {                                                            \
        return normaliseFrom(v, threshold);                                                        \
    }                                                                                              \
    int V_Normal##S(const T *a, const T *b, T *out) {                                              \
        return normal(a, b, out);                                                                  \
    }                                                                                              \
    double V_DistPlane##S(const T *p, const T *q, const T *n) {                                    \
        return distanceFromPlane(p, q, n);                                                         \
    }                                                                                              \
    int V_Perp##S(const T *v, T *out) {                                                            \
        return perpendicular(v, out);                                                              \
    }

SADDLEFIT_VECTOR_EXPORTS(, float)
SADDLEFIT_VECTOR_EXPORTS(d, double)
