#include "saddlefit/superpose.h"

#include "superpose/frame.hpp"

#include <algorithm>

using namespace saddlefit;

namespace {

constexpr int variables = 6;
/// The part of the mode that tells what to compute; the rest is the caller's.
constexpr int modeMask = 7;
enum Derivatives { valueOnly, withGradient, withHessian };

/// Where each matrix begins among the rows of a Rotation, and how many rows there are to turn by.
enum Block { plain = 0, byB = 3, byC = 6, byBB = 9, byBC = 12, byCC = 15, allRows = 18 };
constexpr int rowsFor(Derivatives wanted) {
    if (wanted == valueOnly) return byB;
    return wanted == withGradient ? byBB : allRows;
}

/// The rotation R = Rx(a) Ry(b) Rz(c) and those derivatives of it by b and c that need a matrix;
/// derivatives by a follow from the turned points. The matrices stand one below the other and are
/// stored by columns, so that a single pass turns a point by all of them.
template <Derivatives Wanted> struct Rotation {
    static constexpr int rowCount = rowsFor(Wanted);
    double column[3][rowCount];

    explicit Rotation(const double *x) {
        const AngleTerms angles(x[0], x[1], x[2]);
        const auto &[sa, ca, sb, cb, sc, cc] = angles;
        double m[16];
        buildTransform(m, angles, x + 3);
        fill(plain, {m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10]});
        if constexpr (Wanted >= withGradient) {
            fill(byB, {-sb * cc, sb * sc, cb,                //
                       sa * cb * cc, -sa * cb * sc, sa * sb, //
                       -ca * cb * cc, ca * cb * sc, -ca * sb});
            differentiateByC(plain, byC);
        }
        if constexpr (Wanted >= withHessian) {
            fill(byBB, {-cb * cc, cb * sc, -sb,               //
                        -sa * sb * cc, sa * sb * sc, sa * cb, //
                        ca * sb * cc, -ca * sb * sc, -ca * cb});
            differentiateByC(byB, byBC);
            differentiateByC(byC, byCC);
        }
    }

    void turn(const double *p, double (&turned)[rowCount]) const {
        for (int row = 0; row < rowCount; ++row)
            turned[row] = column[0][row] * p[0] + column[1][row] * p[1] + column[2][row] * p[2];
    }

private:
    void fill(Block block, const double (&rows)[9]) {
        for (int row = 0; row < 3; ++row)
            for (int k = 0; k < 3; ++k)
                column[k][block + row] = rows[3 * row + k];
    }

    /// d/dc of M Rz(c), given M Rz(c).
    void differentiateByC(Block from, Block to) {
        for (int row = 0; row < 3; ++row) {
            column[0][to + row] = column[1][from + row];
            column[1][to + row] = -column[0][from + row];
            column[2][to + row] = 0;
        }
    }
};

double dot(const double *a, const double *b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// d/da of Rx(a) v, given Rx(a) v: v loses its x part and turns by a quarter about x.
struct DerivativeByA {
    double v[3];
    explicit DerivativeByA(const double *rotated) : v{0, -rotated[2], rotated[1]} {}
};

/// One pair: its residual, and the derivatives of its moved point by the angles.
struct Pair {
    const double *residual, *e[3];
};

struct GradientSum {
    double g[variables] = {};

    void add(const Pair &pair) {
        for (int k = 0; k < 3; ++k)
            g[k] -= dot(pair.residual, pair.e[k]);
        for (int j = 0; j < 3; ++j)
            g[3 + j] -= pair.residual[j];
    }
    void write(double *f, double *out) const {
        double squaredNorm = 0;
        for (int k = 0; k < variables; ++k) {
            out[k] = g[k];
            squaredNorm += g[k] * g[k];
        }
        f[1] = squaredNorm;
    }
};

/// The exact coupling of angle k and translation j would be the sum of (e_k)_j in all nine places.
/// The minimiser is defined by these two: more of them would lead it along other steps.
struct HessianSum {
    double aa = 0, ab = 0, ac = 0, bb = 0, bc = 0, cc = 0;
    double bWithY = 0, cWithZ = 0;

    void add(const Pair &pair, const double *turned) {
        const auto &[residual, e] = pair;
        aa += dot(e[0], e[0]) - dot(residual, DerivativeByA(e[0]).v);
        ab += dot(e[0], e[1]) - dot(residual, DerivativeByA(e[1]).v);
        ac += dot(e[0], e[2]) - dot(residual, DerivativeByA(e[2]).v);
        bb += dot(e[1], e[1]) - dot(residual, turned + byBB);
        bc += dot(e[1], e[2]) - dot(residual, turned + byBC);
        cc += dot(e[2], e[2]) - dot(residual, turned + byCC);
        bWithY += e[1][1];
        cWithZ += e[2][2];
    }
    void write(double pairs, double *h) const {
        writeRow(h, 0, aa, ab, ac, 0, 0, 0);
        writeRow(h, 1, ab, bb, bc, 0, bWithY, 0);
        writeRow(h, 2, ac, bc, cc, 0, 0, cWithZ);
        writeRow(h, 3, 0, 0, 0, pairs, 0, 0);
        writeRow(h, 4, 0, bWithY, 0, 0, pairs, 0);
        writeRow(h, 5, 0, 0, cWithZ, 0, 0, pairs);
    }

private:
    template <class... Entries> static void writeRow(double *h, int row, Entries... entries) {
        double *place = h + variables * row;
        ((*place++ = entries), ...);
    }
};

/// Go over the pairs once: leave the residual of each in the state, and sum up what is wanted.
template <Derivatives Wanted>
void evaluate(const AlignMapState &pairs, const double *x, double *f, double *g, double *h) {
    const Rotation<Wanted> rotation(x);
    double squares = 0;
    GradientSum gradient;
    HessianSum hessian;
    for (int i = 0; i < 3 * pairs.count; i += 3) {
        double turned[Rotation<Wanted>::rowCount], residual[3];
        rotation.turn(pairs.fit + i, turned);
        for (int j = 0; j < 3; ++j)
            pairs.resid[i + j] = residual[j] = pairs.ref[i + j] - (turned[j] + x[3 + j]);
        squares += dot(residual, residual);
        if constexpr (Wanted >= withGradient) {
            const DerivativeByA byA(turned);
            const Pair pair = {residual, {byA.v, turned + byB, turned + byC}};
            gradient.add(pair);
            if constexpr (Wanted >= withHessian) hessian.add(pair, turned);
        }
    }
    f[0] = 0.5 * squares;
    if constexpr (Wanted >= withGradient) gradient.write(f, g);
    if constexpr (Wanted >= withHessian) hessian.write(std::max(pairs.count, 0), h);
}

} // namespace

void calcFGH(const int *, const double *x, double *f, double *g, double *h, int *, int *,
             const int *mode, int *, void *state) {
    const AlignMapState &pairs = *static_cast<AlignMapState *>(state);
    switch (*mode & modeMask) {
    case 0:
        return evaluate<valueOnly>(pairs, x, f, g, h);
    case 1:
        return evaluate<withGradient>(pairs, x, f, g, h);
    default:
        return evaluate<withHessian>(pairs, x, f, g, h);
    }
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
