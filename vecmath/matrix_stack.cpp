#include "saddlefit/vecmath.h"

#include "vecmath/matrix.hpp"

#include <algorithm>
#include <cstdint>

using namespace saddlefit;

namespace {

/// Half the depth range of the viewport: 2^24 - 2^10.
constexpr double halfDepth = 16776192.0;

template <class T> void loadIdentity(T *m) {
    std::fill_n(m, 16, T(0));
    for (int i = 0; i < 4; ++i)
        m[5 * i] = 1;
}

template <class T> void scaleRows(T *m, T sx, T sy, T sz) {
    const T factors[3] = {sx, sy, sz};
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 4; ++column)
            m[4 * row + column] *= factors[row];
}

template <class T> void premultiply(T *m, const T *a) {
    T product[16];
    multiply<4>(a, m, product);
    std::copy_n(product, 16, m);
}

/// extent + 2 origin - 1, which wraps around as 32-bit integers do.
std::int32_t doubledCentre(int origin, int extent) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(extent) +
                                     2u * static_cast<std::uint32_t>(origin) - 1u);
}

} // namespace

#define SADDLEFIT_STACK_EXPORTS(S, T)                                                              \
    void V_EmLoadIdentity##S(T *M) {                                                               \
        loadIdentity(M);                                                                           \
    }                                                                                              \
    void V_EmLoadmatrix##S(T *M, const T *A) {                                                     \
        V_SetMat4##S(M, A);                                                                        \
    }                                                                                              \
    void V_EmTranslate##S(T *M, T x, T y, T z) {                                                   \
        translate(M, x, y, z);                                                                     \
    }                                                                                              \
    void V_EmScale##S(T *M, T sx, T sy, T sz) {                                                    \
        scaleRows(M, sx, sy, sz);                                                                  \
    }                                                                                              \
    void V_EmMultmatrix##S(T *M, const T *A) {                                                     \
        premultiply(M, A);                                                                         \
    }

SADDLEFIT_STACK_EXPORTS(, float)
SADDLEFIT_STACK_EXPORTS(d, double)

void V_EmViewport(double *M, int x, int y, int width, int height) {
    std::fill_n(M, 16, 0.0);
    M[0] = width * 0.5;
    M[5] = height * 0.5;
    M[10] = halfDepth;
    M[12] = doubledCentre(x, width) * 0.5;
    M[13] = doubledCentre(y, height) * 0.5;
    M[14] = -halfDepth;
    M[15] = 1.0;
}
