#include "saddlefit/superpose.h"

#include "superpose/frame.hpp"

#include <algorithm>

using namespace saddlefit;

namespace {

constexpr int Variables = 6;
/// The part of the mode that tells what to compute; the rest is the caller's.
constexpr int ModeMask = 7;
enum class Derivatives { None, Gradient, Hessian };

using Vec3 = double[3];
/// The rotation and its derivatives lie in row-major 4x4 blocks of which the 3x3 part is used.
using Matrix = double[16];

Derivatives requested(int mode) {
    const int level = mode & ModeMask;
    if (level < 1) return Derivatives::None;
    return level < 2 ? Derivatives::Gradient : Derivatives::Hessian;
}

double dot(const Vec3 &a, const Vec3 &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

void rotate(const Matrix &m, const double *p, Vec3 &out) {
    for (int row = 0; row < 3; ++row)
        out[row] = m[4 * row] * p[0] + m[4 * row + 1] * p[1] + m[4 * row + 2] * p[2];
}

/// d/da of Rx(a) v, given Rx(a) v: v loses its x part and turns by a quarter about x.
void differentiateByA(const Vec3 &v, Vec3 &out) {
    out[0] = 0;
    out[1] = -v[2];
    out[2] = v[1];
}

/// d/dc of M Rz(c), given M Rz(c).
void differentiateByC(const Matrix &m, Matrix &out) {
    for (int row = 0; row < 3; ++row) {
        out[4 * row] = m[4 * row + 1];
        out[4 * row + 1] = -m[4 * row];
        out[4 * row + 2] = 0;
    }
}

void fillRows(Matrix &m, const double (&rows)[9]) {
    for (int row = 0; row < 3; ++row)
        std::copy_n(rows + 3 * row, 3, m + 4 * row);
}

void fillByB(const AngleTerms &angles, Matrix &out) {
    const auto &[sa, ca, sb, cb, sc, cc] = angles;
    fillRows(out, {-sb * cc, sb * sc, cb,                //
                   sa * cb * cc, -sa * cb * sc, sa * sb, //
                   -ca * cb * cc, ca * cb * sc, -ca * sb});
}

void fillByBTwice(const AngleTerms &angles, Matrix &out) {
    const auto &[sa, ca, sb, cb, sc, cc] = angles;
    fillRows(out, {-cb * cc, cb * sc, -sb,               //
                   -sa * sb * cc, sa * sb * sc, sa * cb, //
                   ca * sb * cc, -ca * sb * sc, -ca * cb});
}

/// The rotation R = Rx(a) Ry(b) Rz(c) and those derivatives of it by b and c that need a matrix;
/// derivatives by a follow from the rotated points.
struct RotationDerivatives {
    Matrix transform, b, c, bb, bc, cc;

    RotationDerivatives(const double *x, Derivatives wanted) {
        const AngleTerms angles(x[0], x[1], x[2]);
        buildTransform(transform, angles, x + 3);
        if (wanted == Derivatives::None) return;
        fillByB(angles, b);
        differentiateByC(transform, c);
        if (wanted == Derivatives::Gradient) return;
        fillByBTwice(angles, bb);
        differentiateByC(b, bc);
        differentiateByC(c, cc);
    }
};

double sumResiduals(const AlignMapState &state, const Matrix &transform) {
    double sum = 0;
    for (int i = 0; i < 3 * state.count; i += 3) {
        Vec3 moved;
        Trans4x3(transform, state.fit + i, moved);
        for (int j = 0; j < 3; ++j)
            state.resid[i + j] = state.ref[i + j] - moved[j];
        sum += state.resid[i] * state.resid[i] + state.resid[i + 1] * state.resid[i + 1] +
               state.resid[i + 2] * state.resid[i + 2];
    }
    return sum;
}

/// One pair: its residual, and the derivatives of its moved point by the angles.
struct Pair {
    Vec3 residual, rotated, e[3];

    Pair(const AlignMapState &state, int i, const RotationDerivatives &rotation) {
        std::copy_n(state.resid + i, 3, residual);
        rotate(rotation.transform, state.fit + i, rotated);
        differentiateByA(rotated, e[0]);
        rotate(rotation.b, state.fit + i, e[1]);
        rotate(rotation.c, state.fit + i, e[2]);
    }
};

void addToGradient(const Pair &pair, double *g) {
    for (int k = 0; k < 3; ++k)
        g[k] -= dot(pair.residual, pair.e[k]);
    for (int j = 0; j < 3; ++j)
        g[3 + j] -= pair.residual[j];
}

double &entry(double *h, int row, int column) {
    return h[Variables * row + column];
}

void addRotationBlock(const Pair &pair, const double *fit, const RotationDerivatives &rotation,
                      double *h) {
    Vec3 second[3][3];
    for (int l = 0; l < 3; ++l)
        differentiateByA(pair.e[l], second[0][l]);
    rotate(rotation.bb, fit, second[1][1]);
    rotate(rotation.bc, fit, second[1][2]);
    rotate(rotation.cc, fit, second[2][2]);
    for (int k = 0; k < 3; ++k)
        for (int l = k; l < 3; ++l)
            entry(h, k, l) += dot(pair.e[k], pair.e[l]) - dot(pair.residual, second[k][l]);
}

/// The exact coupling of angle k and translation j would be (e_k)_j in all nine places. The
/// minimiser is defined by these two: more of them would lead it along other steps.
void addCoupling(const Pair &pair, double *h) {
    entry(h, 1, 4) += pair.e[1][1];
    entry(h, 2, 5) += pair.e[2][2];
}

void addToHessian(const Pair &pair, const double *fit, const RotationDerivatives &rotation,
                  double *h) {
    addRotationBlock(pair, fit, rotation, h);
    addCoupling(pair, h);
    for (int j = 3; j < Variables; ++j)
        entry(h, j, j) += 1;
}

void mirrorUpperTriangle(double *h) {
    for (int row = 0; row < Variables; ++row)
        for (int column = row + 1; column < Variables; ++column)
            entry(h, column, row) = entry(h, row, column);
}

} // namespace

void calcFGH(const int *, const double *x, double *f, double *g, double *h, int *, int *,
             const int *mode, int *, void *state) {
    const AlignMapState &pairs = *static_cast<AlignMapState *>(state);
    const Derivatives wanted = requested(*mode);
    const RotationDerivatives rotation(x, wanted);

    f[0] = 0.5 * sumResiduals(pairs, rotation.transform);
    if (wanted == Derivatives::None) return;

    std::fill_n(g, Variables, 0.0);
    if (wanted == Derivatives::Hessian) std::fill_n(h, Variables * Variables, 0.0);
    for (int i = 0; i < 3 * pairs.count; i += 3) {
        const Pair pair(pairs, i, rotation);
        addToGradient(pair, g);
        if (wanted == Derivatives::Hessian) addToHessian(pair, pairs.fit + i, rotation, h);
    }
    f[1] = 0;
    for (int k = 0; k < Variables; ++k)
        f[1] += g[k] * g[k];
    if (wanted == Derivatives::Hessian) mirrorUpperTriangle(h);
}

double calcGdir(const int *n, const double *g, const double *d, const double *, const double *,
                void *) {
    double slope = 0;
    for (int i = 0; i < *n; ++i)
        slope += g[i] * d[i];
    return slope;
}

void mvX(const int *n, double *y, const double *x, const double *alpha, const double *d, void *) {
    for (int i = 0; i < *n; ++i)
        y[i] = x[i] + *alpha * d[i];
}
