/// The system's BLAS and LAPACK, in the place of small_algebra.hpp.
#pragma once

extern "C" {
double ddot_(const int *n, const double *x, const int *incx, const double *y, const int *incy);
double dnrm2_(const int *n, const double *x, const int *incx);
void dgesv_(const int *n, const int *nrhs, double *a, const int *lda, int *ipiv, double *b,
            const int *ldb, int *info);
}

namespace saddlefit::blas {

/// Distance of successive elements of a contiguous vector.
constexpr int unitStride = 1;

inline double dot(int n, const double *x, const double *y) {
    return ddot_(&n, x, &unitStride, y, &unitStride);
}
inline double norm(int n, const double *x) {
    return dnrm2_(&n, x, &unitStride);
}

template <int N> struct LinearSystem {
    static bool solve(double *a, double *b) {
        constexpr int size = N, oneRightHandSide = 1;
        int pivots[N], status;
        dgesv_(&size, &oneRightHandSide, a, &size, pivots, b, &size, &status);
        return status == 0;
    }
};

} // namespace saddlefit::blas
