#include "host/reactions/least_misfit.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace saddlefit::host {

namespace {

using Matrix3 = std::array<std::array<double, 3>, 3>;
using Matrix4 = std::array<std::array<double, 4>, 4>;

double determinant(const Matrix3 &m) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

double determinant(const Matrix4 &m) {
    double sum = 0.0;
    for (std::size_t column = 0; column < 4; ++column) {
        Matrix3 minor{};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t k = 0; k < 3; ++k)
                minor[i][k] = m[i + 1][k < column ? k : k + 1];
        sum += (column % 2 == 0 ? 1.0 : -1.0) * m[0][column] * determinant(minor);
    }
    return sum;
}

// Its greatest eigenvalue belongs to the best rotation (Horn, J. Opt. Soc. Am. A 4, 629 (1987)).
Matrix4 quaternionMatrix(const Matrix3 &s) {
    const double xx = s[0][0], yy = s[1][1], zz = s[2][2];
    const double x = s[1][2] - s[2][1], y = s[2][0] - s[0][2], z = s[0][1] - s[1][0];
    const double xy = s[0][1] + s[1][0], yz = s[1][2] + s[2][1], zx = s[2][0] + s[0][2];
    return {{{xx + yy + zz, x, y, z},
             {x, xx - yy - zz, xy, zx},
             {y, xy, yy - xx - zz, yz},
             {z, zx, yz, zz - xx - yy}}};
}

// By Newton's method on the characteristic polynomial, from a bound above all its roots
// (Theobald, Acta Cryst. A 61, 478 (2005)).
double greatestEigenvalue(const Matrix3 &s, double bound) {
    double squares = 0.0;
    for (const auto &row : s)
        for (const double value : row)
            squares += value * value;
    const double c2 = -2.0 * squares, c1 = -8.0 * determinant(s);
    const double c0 = determinant(quaternionMatrix(s));
    constexpr int mostSteps = 60;
    double root = bound;
    for (int step = 0; step < mostSteps; ++step) {
        const double value = ((root * root + c2) * root + c1) * root + c0;
        const double slope = (4.0 * root * root + 2.0 * c2) * root + c1;
        if (slope <= 0.0) break;
        const double next = root - value / slope;
        if (std::abs(next - root) < 1e-11 * bound) return next;
        root = next;
    }
    return root;
}

} // namespace

double leastMisfit(std::span<const Position> points, std::span<const Position> others,
                   std::span<const int> partners) {
    Matrix3 s{};
    double bound = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const auto &p = points[i], &q = others[static_cast<std::size_t>(partners[i])];
        const std::array<double, 3> a{p.x, p.y, p.z}, b{q.x, q.y, q.z};
        for (std::size_t row = 0; row < 3; ++row) {
            bound += (a[row] * a[row] + b[row] * b[row]) / 2;
            for (std::size_t column = 0; column < 3; ++column)
                s[row][column] += a[row] * b[column];
        }
    }
    if (points.empty() || bound == 0.0) return 0.0;
    const double sum = 2 * (bound - greatestEigenvalue(s, bound));
    return std::sqrt(std::max(0.0, sum) / static_cast<double>(points.size()));
}

} // namespace saddlefit::host
