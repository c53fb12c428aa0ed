#include "molecule/current.hpp"
#include "superpose/linesearch_state.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

Tn001 tn001_{};
Tn003 tn003_{};
Tn006 tn006_{};

using namespace saddlefit;

LineSearchState &LineSearchState::ofProcess() {
    static constinit LineSearchState state{tn001_, tn003_, tn006_};
    return state;
}

namespace {

/// What the extended format gives: halving 1 while the half still changes 1 ends at 2^-63. The last
/// power of 1/16 above zero is 2^-16444, so that the safe numbers 100 * 2^-16381 and its inverse
/// leave the range of a double on either side.
constexpr double extendedEpsilon = 0x1p-63;
constexpr double extendedSmall = 0;
constexpr double extendedLarge = std::numeric_limits<double>::infinity();

constexpr int statusOnReturn = -10;
constexpr int outputUnit = 6;
constexpr Tn003 searchSettings = {1e-10, 0.9, 16};

/// Wraps around for a size that no array has.
int hundredfold(int n) {
    return static_cast<int>(100u * static_cast<unsigned>(n));
}

void fillIntegers(int n, int *iset) {
    const int values[18] = {
        0, 0, 0, hundredfold(n), n, hundredfold(n), 0, 0, 0, 1, outputUnit, 1, 0, 20, 0, 1, 0, 0};
    std::copy_n(values, 18, iset);
}

void fillReals(double eps, double *rset) {
    const double values[8] = {1e-8, std::sqrt(eps),      0.5, 0.5, searchSettings.ftol,
                              1e-4, searchSettings.gtol, 1e-7};
    std::copy_n(values, 8, rset);
}

} // namespace

void setlis_(const int *n, int *iset, double *rset, int *status) {
    LineSearchState &state = Current<LineSearchState>::state();
    state.tn001.second = 0;
    if (*n <= 0) return;

    *status = statusOnReturn;
    fillIntegers(*n, iset);
    state.tn001.first = outputUnit;
    constexpr int epsilon = 1;
    const double eps = tnmach_(&epsilon);
    state.tn006 = {eps, 2 * std::sqrt(eps), std::sqrt(static_cast<double>(*n))};
    fillReals(eps, rset);
    state.tn003 = searchSettings;
}

double tnmach_(const int *which) {
    switch (*which) {
    case 1:
        return extendedEpsilon;
    case 2:
        return extendedSmall;
    case 3:
        return extendedLarge;
    default:
        return 0;
    }
}
