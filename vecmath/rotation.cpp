#include "saddlefit/vecmath.h"

#include <algorithm>
#include <cmath>

namespace {

template <class T> void writeRows(T *out, const T (&rows)[9]) {
    std::copy_n(rows, 9, out);
}

template <class T> void rotationAbout(T *out, T angle, const T *axis) {
    const T x = axis[0], y = axis[1], z = axis[2];
    const T c = std::cos(angle), s = std::sin(angle), t = 1 - c;
    writeRows<T>(out, {x * x * t + c, x * y * t - z * s, x * z * t + y * s, //
                       x * y * t + z * s, y * y * t + c, y * z * t - x * s, //
                       x * z * t - y * s, y * z * t + x * s, z * z * t + c});
}

template <class T> void rotationAboutAxis(T *out, T angle, char axis) {
    const T c = std::cos(angle), s = std::sin(angle);
    switch (axis) {
    case 'x':
        return writeRows<T>(out, {1, 0, 0, 0, c, s, 0, -s, c});
    case 'y':
        return writeRows<T>(out, {c, 0, -s, 0, 1, 0, s, 0, c});
    case 'z':
        return writeRows<T>(out, {c, s, 0, -s, c, 0, 0, 0, 1});
    default:
        return writeRows<T>(out, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    }
}

template <class T> void embed(const T *rotation, T *out) {
    std::fill_n(out, 16, T(0));
    for (int row = 0; row < 3; ++row)
        std::copy_n(rotation + 3 * row, 3, out + 4 * row);
    out[15] = 1;
}

template <class T> void homogeneousAbout(T *out, T angle, const T *axis) {
    T rotation[9];
    rotationAbout(rotation, angle, axis);
    embed(rotation, out);
}

template <class T> void homogeneousAboutAxis(T *out, T angle, char axis) {
    T rotation[9];
    rotationAboutAxis(rotation, angle, axis);
    embed(rotation, out);
}

} // namespace

#define SADDLEFIT_ROTATION_EXPORTS(S, T)                                                           \
    void V_RotateVector3##S(T *out, T angle, const T *axis) {                                      \
        rotationAbout(out, angle, axis);                                                           \
    }                                                                                              \
    void V_RotateVector4##S(T *out, T angle, const T *axis) {                                      \
        homogeneousAbout(out, angle, axis);                                                        \
    }                                                                                              \
    void V_RotateAxis3##S(T *out, T angle, char axis) {                                            \
        rotationAboutAxis(out, angle, axis);                                                       \
    }                                                                                              \
    void V_RotateAxis4##S(T *out, T angle, char axis) {                                            \
        homogeneousAboutAxis(out, angle, axis);                                                    \
    }

SADDLEFIT_ROTATION_EXPORTS(, float)
SADDLEFIT_ROTATION_EXPORTS(d, double)
