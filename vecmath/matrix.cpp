#include "vecmath/matrix.hpp"

#include "saddlefit/vecmath.h"

#include <algorithm>
#include <utility>

using namespace saddlefit;

namespace {

template <int Count, class From, class To> void convert(const From *source, To *destination) {
    std::transform(source, source + Count, destination,
                   [](From value) { return static_cast<To>(value); });
}

template <int Size, class T> void transpose(const T *a, T *b) {
    if (a != b) std::copy_n(a, Size * Size, b);
    for (int row = 0; row < Size; ++row)
        for (int column = row + 1; column < Size; ++column)
            std::swap(b[Size * row + column], b[Size * column + row]);
}

template <class T> void transformVector(const T *v, const T *m, T *out) {
    T q[3];
    for (int j = 0; j < 3; ++j)
        q[j] = v[0] * m[j] + v[1] * m[3 + j] + v[2] * m[6 + j];
    std::copy_n(q, 3, out);
}

template <class T> void transformPoint(const T *p, const T *m, T *out) {
    T q[4];
    for (int j = 0; j < 4; ++j)
        q[j] = p[0] * m[j] + p[1] * m[4 + j] + p[2] * m[8 + j] + m[12 + j];
    for (int j = 0; j < 3; ++j)
        out[j] = q[j] / q[3];
}

template <class T> void transformHomogeneous(const T *p, const T *m, T *out) {
    T q[4];
    for (int j = 0; j < 4; ++j)
        q[j] = p[0] * m[j] + p[1] * m[4 + j] + p[2] * m[8 + j] + p[3] * m[12 + j];
    for (int j = 0; j < 3; ++j)
        out[j] = q[j] / q[3];
    out[3] = 1;
}

} // namespace

#define SADDLEFIT_MATRIX_EXPORTS(S, T)                                                             \
    void V_SetMat3##S(T *destination, const T *source) {                                           \
        convert<9>(source, destination);                                                           \
    }                                                                                              \
    void V_SetMat4##S(T *destination, const T *source) {                                           \
        convert<16>(source, destination);                                                          \
    }                                                                                              \
    void V_MultMat3##S(const T *A, const T *B, T *C) {                                             \
        multiply<3>(A, B, C);                                                                      \
    }                                                                                              \
    void V_MultMat4##S(const T *A, const T *B, T *C) {                                             \
        multiply<4>(A, B, C);                                                                      \
    }                                                                                              \
    void V_Transpose33##S(const T *A, T *B) {                                                      \
        transpose<3>(A, B);                                                                        \
    }                                                                                              \
    void V_Transpose44##S(const T *A, T *B) {                                                      \
        transpose<4>(A, B);                                                                        \
    }                                                                                              \
    void V_Trans33##S(const T *v, const T *M, T *out) {                                            \
        transformVector(v, M, out);                                                                \
    }                                                                                              \
    void V_Trans34##S(const T *p, const T *M, T *out) {                                            \
        transformPoint(p, M, out);                                                                 \
    }                                                                                              \
    void V_Trans44##S(const T *p, const T *M, T *out) {                                            \
        transformHomogeneous(p, M, out);                                                           \
    }                                                                                              \
    void V_Translate4##S(T *M, T x, T y, T z) {                                                    \
        translate(M, x, y, z);                                                                     \
    }

SADDLEFIT_MATRIX_EXPORTS(, float)
SADDLEFIT_MATRIX_EXPORTS(d, double)

void V_DtoFMat3(const double *source, float *destination) {
    convert<9>(source, destination);
}
void V_FtoDMat3(const float *source, double *destination) {
    convert<9>(source, destination);
}
void V_DtoFMat4(const double *source, float *destination) {
    convert<16>(source, destination);
}
void V_FtoDMat4(const float *source, double *destination) {
    convert<16>(source, destination);
}

void V_MultMat4df(const double *A, const float *B, float *C) {
    multiply<4>(A, B, C);
}
