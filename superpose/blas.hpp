/// The routines of BLAS and LAPACK that the superposition calls, in their Fortran convention.
#pragma once

extern "C" {
double ddot_(const int *n, const double *x, const int *incx, const double *y, const int *incy);
double dnrm2_(const int *n, const double *x, const int *incx);
void dcopy_(const int *n, const double *x, const int *incx, double *y, const int *incy);
void dgesv_(const int *n, const int *nrhs, double *a, const int *lda, int *ipiv, double *b,
            const int *ldb, int *info);
}

namespace saddlefit {

/// Distance of successive elements of a contiguous vector.
constexpr int UnitStride = 1;

inline double dot(int n, const double *x, const double *y) {
    return ddot_(&n, x, &UnitStride, y, &UnitStride);
}
inline double norm(int n, const double *x) {
    return dnrm2_(&n, x, &UnitStride);
}
inline void copy(int n, const double *x, double *y) {
    dcopy_(&n, x, &UnitStride, y, &UnitStride);
}

} // namespace saddlefit
