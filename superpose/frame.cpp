#include "superpose/frame.hpp"

#include "saddlefit/superpose.h"
#include "saddlefit/vecmath.h"

#include <algorithm>
#include <cmath>

namespace saddlefit {

void buildTransform(double *m, const AngleTerms &angles, const double *translation) {
    const auto &[sa, ca, sb, cb, sc, cc] = angles;
    m[0] = cb * cc;
    m[1] = -cb * sc;
    m[2] = sb;
    m[3] = translation[0];
    m[4] = ca * sc + sa * sb * cc;
    m[5] = ca * cc - sa * sb * sc;
    m[6] = -sa * cb;
    m[7] = translation[1];
    m[8] = sa * sc - ca * sb * cc;
    m[9] = sa * cc + ca * sb * sc;
    m[10] = ca * cb;
    m[11] = translation[2];
    m[12] = m[13] = m[14] = 0;
    m[15] = 1;
}

namespace {

void rotateAboutAxes(double *matrix, const double *angles) {
    for (const char axis : {'x', 'y', 'z'}) {
        double rotation[16];
        V_RotateAxis4d(rotation, *angles++, axis);
        V_EmMultmatrixd(matrix, rotation);
    }
}

void translateMatrix(double *matrix, const double *shift) {
    V_EmTranslated(matrix, shift[0], shift[1], shift[2]);
}

/// Angles that turn the second point onto the positive x axis and the third into the xy plane.
void findFrameAngles(const double *coords, int n, double *angles) {
    const double *second = coords + 3;
    angles[2] = -std::atan2(second[1], second[0]);
    angles[1] = std::atan2(second[2], std::sqrt(second[0] * second[0] + second[1] * second[1]));
    if (n < 3) return;

    double turn[16], third[3];
    Trans4(turn, 0, 0, 0, 0, angles[1], angles[2]);
    Trans4x3(turn, coords + 6, third);
    angles[0] = -std::atan2(third[2], third[1]);
}

} // namespace

void buildAlignMatrix(double *matrix, const double *params) {
    V_EmLoadIdentityd(matrix);
    translateMatrix(matrix, params + ALIGN_FIT_SHIFT);
    rotateAboutAxes(matrix, params + ALIGN_FIT_ANGLES);
    rotateAboutAxes(matrix, params + ALIGN_FRAME_ANGLES);
    translateMatrix(matrix, params + ALIGN_FRAME_SHIFT);
}

} // namespace saddlefit

void Trans4(double *M, double tx, double ty, double tz, double a, double b, double c) {
    const double translation[3] = {tx, ty, tz};
    saddlefit::buildTransform(M, saddlefit::AngleTerms(a, b, c), translation);
}

void Trans4x3(const double *M, const double *p, double *q) {
    const double x = p[0], y = p[1], z = p[2];
    for (int row = 0; row < 3; ++row, M += 4)
        q[row] = M[0] * x + M[1] * y + M[2] * z + M[3];
}

void Mult4x4(const double *A, const double *B, double *C) {
    V_MultMat4d(A, B, C);
}

void align_mol(double *coords, int n, double *params) {
    double *shift = params + ALIGN_FRAME_SHIFT;
    double *angles = params + ALIGN_FRAME_ANGLES;
    std::fill_n(shift, 3, 0.0);
    std::fill_n(angles, 3, 0.0);
    if (n < 1) return;

    for (int i = 0; i < 3; ++i)
        shift[i] = -coords[i];
    for (int point = 0; point < n; ++point)
        V_Addd(coords + 3 * point, shift, coords + 3 * point);
    if (n < 2) return;

    saddlefit::findFrameAngles(coords, n, angles);
    double turn[16];
    Trans4(turn, 0, 0, 0, angles[0], angles[1], angles[2]);
    for (int point = 0; point < n; ++point)
        Trans4x3(turn, coords + 3 * point, coords + 3 * point);
}
