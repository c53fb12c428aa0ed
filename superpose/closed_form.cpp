#include "superpose/closed_form.hpp"

namespace saddlefit {
namespace {

struct Centroid {
    double at[3] = {};

    Centroid(const double *points, int count) {
        for (int i = 0; i < 3 * count; ++i)
            at[i % 3] += points[i];
        for (double &coordinate : at)
            coordinate /= count;
    }
};

/// Sums over the pairs, both sides about their centroids.
struct Moments {
    double squares = 0;
    double products[3][3] = {}; ///< of a coordinate of ref and one of fit

    Moments(const double *ref, const double *fit, int count) {
        const Centroid refCentre(ref, count), fitCentre(fit, count);
        for (int i = 0; i < 3 * count; i += 3) {
            for (int j = 0; j < 3; ++j) {
                const double a = ref[i + j] - refCentre.at[j];
                squares += a * a;
                for (int k = 0; k < 3; ++k)
                    products[j][k] += a * (fit[i + k] - fitCentre.at[k]);
            }
            for (int k = 0; k < 3; ++k) {
                const double b = fit[i + k] - fitCentre.at[k];
                squares += b * b;
            }
        }
    }
};

/// Gaussian elimination meets positive pivots only. Reads and spoils the upper triangle.
bool isPositiveDefinite(double (&m)[4][4]) {
    for (int k = 0; k < 4; ++k) {
        if (!(m[k][k] > 0)) return false;
        for (int row = k + 1; row < 4; ++row)
            for (int column = row; column < 4; ++column)
                m[row][column] -= m[k][row] / m[k][k] * m[k][column];
    }
    return true;
}

} // namespace

/// About the centroids, the least sum of squares is G - 2 lambda: G sums the squares of both sides,
/// and lambda is the largest eigenvalue of a symmetric matrix K made of the products (B. K. P.
/// Horn, J. Opt. Soc. Am. A 4 (1987) 629-642). The sum stays at or above a limit if lambda is at
/// most t = (G - limit) / 2, and that holds where t - K is positive definite: no eigenvalue is
/// needed.
bool squaresMayFallBelow(double limit, double margin, const double *ref, const double *fit,
                         int count) {
    const Moments moments(ref, fit, count);
    const double t = (moments.squares - limit - margin) / 2;
    const auto &[x, y, z] = moments.products;
    double m[4][4] = {
        {t - x[0] - y[1] - z[2], z[1] - y[2], x[2] - z[0], y[0] - x[1]},
        {0, t - x[0] + y[1] + z[2], -x[1] - y[0], -x[2] - z[0]},
        {0, 0, t + x[0] - y[1] + z[2], -y[2] - z[1]},
        {0, 0, 0, t + x[0] + y[1] - z[2]},
    };
    return !isPositiveDefinite(m);
}

} // namespace saddlefit
