// The directions of the minimiser, with its linear algebra in the hands of the test.
#include "saddlefit/superpose.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

/// What the solver is to report, and the gradient along translation x that it was given each time.
struct SolverScript {
    int status = 0;
    std::vector<double> gradients;
} solver;

} // namespace

/// Goes half of the way that steepest descent goes.
extern "C" void dgesv_(const int *n, const int *, double *, const int *, int *, double *b,
                       const int *, int *info) {
    solver.gradients.push_back(b[3]);
    for (int i = 0; i < *n; ++i)
        b[i] /= 2;
    *info = solver.status;
}

extern "C" double dnrm2_(const int *n, const double *x, const int *) {
    double squares = 0;
    for (int i = 0; i < *n; ++i)
        squares += x[i] * x[i];
    return std::sqrt(squares);
}

namespace {

/// One pair along x. The solver is asked for three directions out of four.
TEST(Minimiser, AlternatesThreeNewtonStepsWithSteepestDescent) {
    const struct {
        const char *label;
        double distance;
        int status;
        std::size_t solved; ///< in four iterations that pass, or in all that there are
        std::vector<double> gradients;
    } rows[] = {
        {"four passes", 1e-7, 0, 3, {1e-7, 0.5e-7, 0.25e-7}},
        {"no strict decrease at the end", 1, 0, 75, {1, 0.5, 0.25, 0, 0}},
        {"solver fails", 1, 3, 100, {1, 0, 0}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        solver = {row.status, {}};
        double ref[] = {row.distance, 0, 0}, fit[] = {0, 0, 0}, residual[3];
        AlignMapState pair = {1, ref, fit, residual};
        double params[ALIGN_PARAMS] = {};
        doSuperR(&pair, params);
        ASSERT_EQ(solver.gradients.size(), row.solved);
        for (std::size_t i = 0; i < row.gradients.size(); ++i)
            EXPECT_DOUBLE_EQ(solver.gradients[i], -row.gradients[i]) << i;
        EXPECT_DOUBLE_EQ(params[ALIGN_FIT_SHIFT], row.distance);
    }
}

} // namespace
