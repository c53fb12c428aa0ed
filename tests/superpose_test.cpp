#include "saddlefit/linesearch.h"
#include "saddlefit/superpose.h"
#include "saddlefit/vecmath.h"

#include "superpose/frame.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

extern "C" {
void dsyev_(const char *jobz, const char *uplo, const int *n, double *a, const int *lda, double *w,
            double *work, const int *lwork, int *info);
void dgetrf_(const int *m, const int *n, double *a, const int *lda, int *ipiv, int *info);
void dgetrs_(const char *trans, const int *n, const int *nrhs, const double *a, const int *lda,
             const int *ipiv, double *b, const int *ldb, int *info);
}

namespace {

/// Watches and scripts the solver of the Newton system, which this program puts in LAPACK's place.
struct SolverScript {
    double answer = 0; ///< 0: solve; else the solution is this many times the right-hand side
    int status = 0;    ///< what a scripted solver reports
    std::vector<double> gradients; ///< of each call, the component along translation x
} solver;

} // namespace

extern "C" void dgesv_(const int *n, const int *nrhs, double *a, const int *lda, int *ipiv,
                       double *b, const int *ldb, int *info) {
    solver.gradients.push_back(b[3]);
    if (solver.answer == 0) {
        dgetrf_(n, n, a, lda, ipiv, info);
        if (*info == 0) dgetrs_("N", n, nrhs, a, lda, ipiv, b, ldb, info);
        return;
    }
    for (int i = 0; i < *n; ++i)
        b[i] *= solver.answer;
    *info = solver.status;
}

namespace {

using Points = std::vector<double>; // x y z by point
using Mat4 = std::array<double, 16>;
using Six = std::array<double, 6>;

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    double within(double bound) {
        return std::uniform_real_distribution<double>(-bound, bound)(engine_);
    }
    Points points(int n, double bound = 3) {
        Points result(3 * static_cast<std::size_t>(n));
        for (double &value : result)
            value = within(bound);
        return result;
    }

private:
    std::mt19937 engine_;
};

int countOf(const Points &points) {
    return static_cast<int>(points.size() / 3);
}

Points moved(Points points, const Mat4 &transform) { // row-major
    for (std::size_t i = 0; i < points.size(); i += 3)
        Trans4x3(transform.data(), &points[i], &points[i]);
    return points;
}

Points movedByColumns(Points points, const Mat4 &transform) {
    for (std::size_t i = 0; i < points.size(); i += 3)
        V_Trans34d(&points[i], transform.data(), &points[i]);
    return points;
}

void expectSamePoints(const Points &actual, const Points &expected, double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i)
        EXPECT_NEAR(actual[i], expected[i], tolerance) << "point " << i / 3;
}

/// A molecule that borrows its atoms; none of the functions here needs more.
struct Borrowed {
    std::vector<Atom> atoms;
    Molecule mol{};

    explicit Borrowed(const Points &points) : atoms(points.size() / 3) {
        for (std::size_t i = 0; i < atoms.size(); ++i) {
            atoms[i].x = points[3 * i];
            atoms[i].y = points[3 * i + 1];
            atoms[i].z = points[3 * i + 2];
        }
        mol.atoms = atoms.data();
        mol.atomCount = static_cast<int>(atoms.size());
    }
    Points points() const {
        Points result;
        for (const Atom &atom : atoms)
            result.insert(result.end(), {atom.x, atom.y, atom.z});
        return result;
    }
};

struct Pairs {
    Points ref, fit, resid;
    AlignMapState state;
    Pairs(Points r, Points f)
        : ref(std::move(r)),
          fit(std::move(f)),
          resid(ref.size()),
          state{countOf(ref), ref.data(), fit.data(), resid.data()} {}
};

struct Evaluation {
    double f[2] = {-7, -7};
    Six g;
    std::array<double, 36> h;
    Evaluation(Pairs &pairs, const Six &x, int mode) {
        g.fill(-7);
        h.fill(-7);
        const int n = 6;
        int aux = 1;
        calcFGH(&n, x.data(), f, g.data(), h.data(), &aux, &aux, &mode, &aux, &pairs.state);
    }
};

// ---- closed form: unit quaternions (Horn 1987) ----------------------------------------------

double largestEigenvalue(Mat4 symmetric) {
    const int n = 4, room = 32;
    double values[4], work[room];
    int status;
    dsyev_("N", "U", &n, symmetric.data(), &n, values, work, &room, &status);
    return values[3];
}

void centre(Points &points) {
    for (std::size_t j = 0; j < 3; ++j) {
        double sum = 0;
        for (std::size_t i = j; i < points.size(); i += 3)
            sum += points[i];
        for (std::size_t i = j; i < points.size(); i += 3)
            points[i] -= sum / countOf(points);
    }
}

double closedFormMisfit(Points a, Points b) {
    centre(a);
    centre(b);
    double s[3][3] = {}, squares = 0;
    for (std::size_t i = 0; i < a.size(); i += 3)
        for (std::size_t j = 0; j < 3; ++j) {
            squares += a[i + j] * a[i + j] + b[i + j] * b[i + j];
            for (std::size_t k = 0; k < 3; ++k)
                s[j][k] += a[i + j] * b[i + k];
        }
    const double yz = s[1][2] - s[2][1], zx = s[2][0] - s[0][2], xy = s[0][1] - s[1][0];
    const double xx = s[0][0], yy = s[1][1], zz = s[2][2];
    const double pxy = s[0][1] + s[1][0], pxz = s[0][2] + s[2][0], pyz = s[1][2] + s[2][1];
    const double best = largestEigenvalue({xx + yy + zz, yz, zx, xy, yz, xx - yy - zz, pxy, pxz, zx,
                                           pxy, yy - xx - zz, pyz, xy, pxz, pyz, zz - xx - yy});
    return std::sqrt(std::max(0.0, squares - 2 * best)) / countOf(a);
}

// ---- frames ----------------------------------------------------------------------------------

TEST(Frames, PutThreePointsIntoTheirPlaces) {
    Random random(61);
    for (const int n : {1, 2, 3, 8}) {
        SCOPED_TRACE(n);
        const Points before = random.points(n);
        Points after = before;
        double params[ALIGN_PARAMS] = {};
        align_mol(after.data(), n, params);
        Mat4 matrix;
        saddlefit::buildAlignMatrix(matrix.data(), params);
        expectSamePoints(movedByColumns(before, matrix), after, 1e-14);
        expectSamePoints({after.begin(), after.begin() + 3}, {0, 0, 0}, 0);
        EXPECT_EQ(params[3] == 0, n < 3);
        EXPECT_EQ(params[5] == 0, n < 2);
        if (n > 1) {
            const double length = V_Distd(&before[3], &before[0]);
            expectSamePoints({after.begin() + 3, after.begin() + 6}, {length, 0, 0}, 1e-14);
        }
        if (n > 2) {
            EXPECT_GT(after[7], 0);
            EXPECT_NEAR(after[8], 0, 1e-14);
        }
    }
}

TEST(Frames, TakeCoincidentAndNoPoints) {
    Points coincident = {1, 2, 3, 1, 2, 3};
    double params[ALIGN_PARAMS];
    align_mol(coincident.data(), 2, params);
    expectSamePoints(coincident, Points(6, 0.0), 0);
    EXPECT_EQ(params[4], 0);
    align_mol(nullptr, 0, params);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(params[i], 0);
}

TEST(Frames, FittedMotionFollowsTheFrame) {
    Random random(62);
    double params[ALIGN_PARAMS];
    for (double &value : params)
        value = random.within(1);
    const Points before = random.points(4);
    Mat4 frame, fit, shift, fitFrame, all, matrix;
    Trans4(shift.data(), params[0], params[1], params[2], 0, 0, 0);
    Trans4(frame.data(), 0, 0, 0, params[3], params[4], params[5]);
    Trans4(fit.data(), params[9], params[10], params[11], params[6], params[7], params[8]);
    Mult4x4(fit.data(), frame.data(), fitFrame.data());
    Mult4x4(fitFrame.data(), shift.data(), all.data());
    saddlefit::buildAlignMatrix(matrix.data(), params);
    expectSamePoints(movedByColumns(before, matrix), moved(before, all), 1e-14);
}

// ---- objective -------------------------------------------------------------------------------

TEST(Objective, DerivativesMatchDifferencesButForTheCoupling) {
    constexpr double Step = 1e-5, Tolerance = 1e-6;
    Random random(63);
    for (int round = 0; round < 5; ++round) {
        Pairs pairs(random.points(6), random.points(6));
        Six x;
        for (double &value : x)
            value = random.within(1.5);
        const Evaluation here(pairs, x, 3);
        for (std::size_t k = 0; k < 6; ++k) {
            Six up = x, down = x;
            up[k] += Step, down[k] -= Step;
            const Evaluation above(pairs, up, 1), below(pairs, down, 1);
            EXPECT_NEAR(here.g[k], (above.f[0] - below.f[0]) / (2 * Step), Tolerance * 10) << k;
            for (std::size_t l = 0; l < 6; ++l) {
                SCOPED_TRACE(testing::Message() << "entry " << k << ", " << l);
                const double difference = (above.g[l] - below.g[l]) / (2 * Step);
                const std::size_t low = std::min(k, l), high = std::max(k, l);
                const bool coupled = low < 3 && high >= 3;
                const bool kept = (low == 1 && high == 4) || (low == 2 && high == 5);
                EXPECT_NEAR(here.h[6 * k + l], coupled && !kept ? 0 : difference, Tolerance);
            }
        }
    }
}

TEST(Objective, ComputesWhatTheModeAsksFor) {
    Random random(65);
    Pairs pairs(random.points(3), random.points(3));
    const struct {
        int mode;
        bool gradient, hessian;
    } rows[] = {{0, false, false}, {1, true, false}, {33, true, false}, {2, true, true},
                {3, true, true},   {7, true, true},  {8, false, false}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.mode);
        const Evaluation result(pairs, Six{0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, row.mode);
        EXPECT_NE(result.f[0], -7);
        EXPECT_EQ(result.f[1] != -7, row.gradient);
        EXPECT_EQ(result.g[5] != -7, row.gradient);
        EXPECT_EQ(result.h[35] == 3, row.hessian);
    }
    const Evaluation here(pairs, Six{}, 0);
    double squares = 0;
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(pairs.resid[i], pairs.ref[i] - pairs.fit[i]);
        squares += pairs.resid[i] * pairs.resid[i];
    }
    EXPECT_NEAR(here.f[0], squares / 2, 1e-13);
    pairs.state = {0, nullptr, nullptr, nullptr};
    const Evaluation empty(pairs, Six{}, 3);
    EXPECT_EQ(empty.f[0], 0);
    EXPECT_EQ(empty.g, Six{});
}

// ---- minimiser and alignment -----------------------------------------------------------------

TEST(Minimiser, RecoversARigidMotion) {
    Random random(66);
    for (int round = 0; round < 50; ++round) {
        SCOPED_TRACE(round);
        Six motion;
        for (double &value : motion)
            value = random.within(0.3);
        Mat4 transform;
        Trans4(transform.data(), motion[3], motion[4], motion[5], motion[0], motion[1], motion[2]);
        const Points fit = random.points(6);
        Pairs pairs(moved(fit, transform), fit);
        double params[ALIGN_PARAMS] = {};
        doSuperR(&pairs.state, params);
        for (std::size_t k = 0; k < 6; ++k)
            EXPECT_NEAR(params[6 + k], motion[k], 1e-6) << k;
        EXPECT_LT(params[ALIGN_MISFIT], 1e-6);
        EXPECT_LT(params[ALIGN_GRADIENT_NORM], 1e-5);
    }
}

/// One pair along x, and a solver that always goes half of the way that steepest descent goes.
TEST(Minimiser, AlternatesThreeNewtonStepsWithSteepestDescent) {
    const struct {
        const char *label;
        double distance;
        int status;
        std::size_t iterations; ///< four that pass, or all that there are
        std::vector<double> gradients;
    } rows[] = {
        {"four passes", 1e-7, 0, 4, {1e-7, 0.5e-7, 0.25e-7, 0.125e-7}},
        {"no strict decrease at the end", 1, 0, 100, {1, 0.5, 0.25, 0.125, 0, 0}},
        {"solver fails", 1, 3, 100, {1, 0, 0}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        solver = {0.5, row.status, {}};
        Pairs pairs({row.distance, 0, 0}, {0, 0, 0});
        double params[ALIGN_PARAMS] = {};
        doSuperR(&pairs.state, params);
        ASSERT_EQ(solver.gradients.size(), row.iterations);
        for (std::size_t i = 0; i < row.gradients.size(); ++i)
            EXPECT_DOUBLE_EQ(solver.gradients[i], -row.gradients[i]) << i;
        EXPECT_DOUBLE_EQ(params[ALIGN_FIT_SHIFT], row.distance);
        solver = {};
    }
}

TEST(Misfit, IsNotARootMeanSquare) {
    Pairs pairs({0, 0, 0, 3, 0, 0}, {0, 0, 0, 1, 0, 0});
    double params[ALIGN_PARAMS] = {};
    doSuperR(&pairs.state, params);
    EXPECT_NEAR(params[ALIGN_MISFIT], std::sqrt(2) / 2, 1e-9);
}

TEST(Alignment, ReachesTheClosedFormMisfit) {
    Random random(68);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        const Points a = random.points(3 + round % 10);
        Mat4 anywhere;
        Trans4(anywhere.data(), random.within(9), random.within(9), random.within(9),
               random.within(3), random.within(3), random.within(3));
        Points b = moved(a, anywhere);
        for (double &value : b)
            value += random.within(0.1);
        const double expected = closedFormMisfit(a, b);

        Borrowed ref(a), mol(b);
        std::vector<int> map(ref.atoms.size());
        for (std::size_t i = 0; i < map.size(); ++i)
            map[i] = static_cast<int>(i);
        EXPECT_NEAR(alignMapMols(&ref.mol, &mol.mol, map.data(), nullptr, nullptr), expected, 1e-8);
        double squares = 0;
        for (std::size_t i = 0; i < map.size(); ++i)
            squares += V_Distsqd(&ref.atoms[i].x, &mol.atoms[i].x);
        EXPECT_NEAR(std::sqrt(squares) / static_cast<double>(map.size()), expected, 1e-8);
    }
}

TEST(Alignment, GivesTheTransformInsteadOfMoving) {
    Random random(69);
    const Points a = random.points(6), b = random.points(7, 1);
    const int map[6] = {-1, 4, 0, -7, 6, 1};
    Borrowed ref(a), mol(b), still(a), fixed(b);
    Mat4 refMatrix, molMatrix;
    const double misfit = alignMapMols(&ref.mol, &mol.mol, map, nullptr, nullptr);
    const double same =
        alignMapMols(&still.mol, &fixed.mol, map, refMatrix.data(), molMatrix.data());
    EXPECT_EQ(misfit, same);
    EXPECT_EQ(still.points(), a);
    EXPECT_EQ(fixed.points(), b);
    EXPECT_EQ(movedByColumns(a, refMatrix), ref.points());
    EXPECT_EQ(movedByColumns(b, molMatrix), mol.points());
    expectSamePoints({&ref.atoms[1].x, &ref.atoms[1].z + 1}, {0, 0, 0}, 1e-15);
}

TEST(Alignment, OfOneAtomIsATranslation) {
    Borrowed ref({1, 2, 3, 4, 5, 6}), mol({-1, -1, -1, 0, 0, 5});
    const int map[2] = {-1, 0};
    EXPECT_EQ(alignMapMols(&ref.mol, &mol.mol, map, nullptr, nullptr), 0);
    EXPECT_EQ(ref.points(), (Points{-3, -3, -3, 0, 0, 0}));
    EXPECT_EQ(mol.points(), (Points{0, 0, 0, 1, 1, 6}));
}

TEST(Alignment, WithoutPairsMovesNothing) {
    const Points a = {1, 2, 3, 4, 5, 6}, b = {7, 8, 9};
    const int maps[][2] = {{-1, -7}, {1, -1}, {std::numeric_limits<int>::max(), -1}};
    for (const auto &map : maps) {
        SCOPED_TRACE(map[0]);
        Borrowed ref(a), mol(b);
        EXPECT_EQ(alignMapMols(&ref.mol, &mol.mol, map, nullptr, nullptr), 0);
        EXPECT_EQ(ref.points(), a);
        EXPECT_EQ(mol.points(), b);
    }
}

TEST(Alignment, CountsTheFirstPairsThatBothSidesHave) {
    Random random(70);
    Borrowed ref(random.points(4)), mol(random.points(6));
    const int select[4] = {-7, -1, -2, -7};
    const struct {
        const char *label;
        std::vector<int> map;
        int same[4]; ///< the pairs that count, by reference atom
    } rows[] = {
        {"more entries", {3, -1, 2, 0, 1, 5}, {3, -1, 2, 0}},
        {"fewer entries", {3, 2}, {3, -1, 2, -1}},
        {"atoms that are not there", {6, 3, 99, 2}, {3, -1, 2, -1}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        AlignMapState state;
        double params[ALIGN_PARAMS], m[16];
        alignMapStart(&ref.mol, select, m, &state, params);
        const int entries = static_cast<int>(row.map.size());
        EXPECT_NEAR(alignMapMol(&mol.mol, row.map.data(), entries, m, &state, params),
                    alignMapMols(&ref.mol, &mol.mol, row.same, m, m), 1e-7);
        alignMapEnd(&state);
        alignMapEnd(&state);
        EXPECT_EQ(state.count, 3);
    }
}

// ---- line search -----------------------------------------------------------------------------

struct Curve {
    std::function<double(double)> value, slope; // along x[0]
    std::vector<double> steps;
};

void evaluateCurve(const int *, const double *x, double *f, double *g, double *, int *, int *,
                   const int *mode, int *, void *user) {
    Curve &curve = *static_cast<Curve *>(user);
    EXPECT_EQ(*mode, 33);
    curve.steps.push_back(*x);
    f[0] = curve.value(x[0]);
    g[0] = curve.slope(x[0]);
}

struct Outcome {
    double x = 0, f = 0, g = 0, step = 1;
    int info = 99, evaluations = 99;
};

Outcome search(Curve &curve, double direction, double step) {
    Outcome out;
    const int n = 1, flag = 0;
    double start;
    out.f = curve.value(0);
    out.g = curve.slope(0);
    out.step = step;
    mlines_(&n, &out.x, &out.f, &out.g, &direction, &out.step, &out.info, &start, &out.evaluations,
            &flag, &curve, evaluateCurve, mvX, calcGdir);
    return out;
}

Curve parabola(double minimum) {
    return {[=](double x) { return (x - minimum) * (x - minimum); },
            [=](double x) { return 2 * (x - minimum); },
            {}};
}

Curve line(double slope) {
    return {[=](double x) { return slope * x; }, [=](double) { return slope; }, {}};
}

class LineSearch : public testing::Test {
protected:
    void SetUp() override { tn003_ = {1e-10, 0.9, 16}; }
};

TEST_F(LineSearch, OnParabolasEndsAsTheirShapeDemands) {
    const struct {
        const char *label;
        double minimum, direction, step;
        int info, evaluations;
        double x;
    } rows[] = {
        {"minimum at the first step", 1, 1, 1, 8, 1, 1},
        {"slope has changed sign", 0.8, 1, 1, 7, 1, 1},
        {"overshot, then interpolated", 0.125, 1, 1, 1, 2, 0.125},
        {"lower but too steep", 0.51, 1, 1, 2, 2, 0.51},
        {"goes on past acceptable steps", 10, 1, 1.1, 5, 3, 10},
        {"ascending direction", 1, -1, 0.5, 18, 1, 1},
        {"zero gradient", 0, 1, 1, 7, 0, 0},
        {"step 0", 1, 1, 0, 99, 0, 0},
        {"negative step", 1, 1, -1, 99, 0, 0},
        {"step that is not a number", 1, 1, NAN, 99, 0, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        Curve curve = parabola(row.minimum);
        const Outcome out = search(curve, row.direction, row.step);
        EXPECT_EQ(out.info, row.info);
        EXPECT_EQ(out.evaluations, row.evaluations);
        EXPECT_NEAR(out.x, row.x, 1e-14);
        EXPECT_EQ(out.f, curve.value(out.x));
    }
}

TEST_F(LineSearch, GivesUpWithTheReason) {
    const Curve wrongSlope = {[](double x) { return x; }, [](double) { return -1; }, {}};
    const Curve cliff = {[](double x) { return x > 0 ? 1 + x : 0; }, [](double) { return -1; }, {}};
    const struct {
        const char *label;
        Curve curve;
        double step;
        int limit, info;
    } rows[] = {
        {"endless descent", line(-1), 1, 16, -3},
        {"endless descent to the upper bound", line(-1), 1, 99, -5},
        {"rise at the lower bound", cliff, 1e-30, 16, -4},
        {"a jump shrinks the step to the lower bound", cliff, 1, 16, -4},
        {"nothing lower", wrongSlope, 1, 16, -13},
        {"nothing lower, one evaluation allowed", wrongSlope, 1, 1, -13},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        tn003_.maxfev = row.limit;
        Curve curve = row.curve;
        const Outcome out = search(curve, 1, row.step);
        EXPECT_EQ(out.info, row.info);
        EXPECT_EQ(out.evaluations, static_cast<int>(curve.steps.size()));
        EXPECT_LE(out.evaluations, row.limit);
        EXPECT_EQ(out.step == 0, row.info <= -12);
        EXPECT_EQ(out.x == 0, row.info <= -12);
    }
}

TEST_F(LineSearch, StopsOnASteepRayAfterHalfItsEvaluations) {
    Curve curve = {[](double x) { return -x / 2; }, [](double x) { return x > 0 ? -0.5 : -1; }, {}};
    const Outcome out = search(curve, 1, 10);
    EXPECT_EQ(out.info, 6);
    EXPECT_EQ(out.evaluations, 8);
}

TEST_F(LineSearch, FirstStageLooksBelowTheLineOfSufficientDecrease) {
    tn003_.ftol = 0.5; // lowers the minimum of the parabola around 0.6 less its line to 0.3
    Curve curve = parabola(0.6);
    const Outcome out = search(curve, 1, 1);
    EXPECT_EQ(out.info, 1);
    EXPECT_NEAR(out.x, 0.3, 1e-15);
}

TEST_F(LineSearch, HalvesABracketThatShrinksTooSlowly) {
    constexpr double Kink = 0.1, Wall = 100;
    Curve curve = {[](double x) { return x < Kink ? -x : -Kink + Wall * (x - Kink); },
                   [](double x) { return x < Kink ? -1 : Wall; },
                   {}};
    search(curve, 1, 1);
    EXPECT_LT(curve.steps[2], 0.01);
    EXPECT_DOUBLE_EQ(curve.steps[3], (curve.steps[2] + 1) / 2);
}

TEST_F(LineSearch, ExtrapolatesFourfoldAndRepeatsTheBestStepAtTheLimit) {
    Curve curve = line(-1);
    search(curve, 1, 1);
    ASSERT_EQ(curve.steps.size(), 16u);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(curve.steps[i], (std::array{1.0, 5.0, 21.0}[i]));
    EXPECT_EQ(curve.steps[15], curve.steps[14]);
}

TEST_F(LineSearch, RepairsADirectionElementByElement) {
    Pairs pairs({2, 0, 0}, {0, 0, 0}); // with translations alone, a parabola around (2, 0, 0)
    const int n = 6, flag = 1;
    Six x{}, g{0, 0, 0, -2, 0, 0}, s{0, 0, 0, -1, 1, 0}, wa;
    double f = 2, step = 1;
    int info, evaluations;
    mlines_(&n, x.data(), &f, g.data(), s.data(), &step, &info, wa.data(), &evaluations, &flag,
            &pairs.state, calcFGH, mvX, calcGdir);
    EXPECT_NEAR(s[3], std::sqrt(2) - 1, 1e-15);
    EXPECT_EQ(s[4], 1);
    EXPECT_EQ(info, 7); // the slope goes from -0.83 to 0.34 in the first step; 17 if replaced
}

struct StepData {
    double stx, fx, dx, sty, fy, dy, stp, fp, dp;
    int brackt;
    double low, high;
    int info = 99;
    void next() {
        newstp_(&stx, &fx, &dx, &sty, &fy, &dy, &stp, &fp, &dp, &brackt, &low, &high, &info);
    }
};

TEST(TrialStep, RefusesInvalidInputUntouched) {
    const struct {
        const char *label;
        StepData data;
    } rows[] = {
        {"at the end of the bracket", {0, 0, -1, 1, 1, 1, 1, 2, 1, 1, 0, 1}},
        {"outside the bracket", {0, 0, -1, 1, 1, 1, 1.5, 2, 1, 1, 0, 1}},
        {"uphill", {0, 0, 1, 0, 0, 1, 1, 2, 1, 0, 0, 5}},
        {"no slope", {0, 0, 0, 0, 0, 0, 1, 2, 1, 0, 0, 5}},
        {"bounds exchanged", {0, 0, -1, 0, 0, -1, 1, 2, 1, 0, 5, 0}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        StepData data = row.data;
        data.next();
        EXPECT_EQ(data.info, 0);
        EXPECT_EQ((std::array{data.stx, data.fx, data.sty, data.fy, data.stp}),
                  (std::array{row.data.stx, row.data.fx, row.data.sty, row.data.fy, row.data.stp}));
        EXPECT_EQ(data.brackt, row.data.brackt);
    }
}

TEST(TrialStep, FollowsItsFourCases) {
    const double held = 0.5 + 0.5 * static_cast<double>(0.66f);
    const struct {
        const char *label;
        StepData data;
        int info, brackt;
        double stx, sty, stp;
    } rows[] = {
        {"higher: x^2-x/2", {0, 0, -.5, 0, 0, -.5, 1, .5, 1.5, 0, 0, 5}, 1, 1, 0, 1, 0.25},
        {"slope changed", {0, 0, -1.5, 0, 0, -1.5, 1, -.5, .5, 0, 0, 5}, 2, 1, 1, 0, 0.75},
        {"flatter, open", {0, 0, -4, 0, 0, -4, 1, -3, -2, 0, 0, 5}, 3, 0, 1, 0, 2},
        {"flatter, held back", {0, 0, -1, 1, 0, 1, .5, -.4, -.9, 1, 0, 1}, 3, 1, .5, 1, held},
        {"steeper, open", {0, 0, -1, 0, 0, -1, 1, -3, -2, 0, 0, 5}, 4, 0, 1, 0, 5},
        // the cubic that agrees with x^4-4x at 1/2 and 3/2
        {"steeper, held",
         {0, 0, -1, 1.5, -.9375, 9.5, .5, -1.9375, -3.5, 1, 0, 2},
         4,
         1,
         .5,
         1.5,
         1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        StepData data = row.data;
        data.next();
        EXPECT_EQ(data.info, row.info);
        EXPECT_EQ(data.brackt, row.brackt);
        EXPECT_EQ(data.stx, row.stx);
        EXPECT_EQ(data.sty, row.sty);
        EXPECT_NEAR(data.stp, row.stp, 1e-15);
    }
}

TEST(LineSearchSettings, FillTheBlocksAndArrays) {
    int iset[18], status = 0;
    double rset[8];
    int n = 6;
    setlis_(&n, iset, rset, &status);
    const int expected[18] = {0, 0, 0, 600, 6, 600, 0, 0, 0, 1, 6, 1, 0, 20, 0, 1, 0, 0};
    EXPECT_TRUE(std::equal(iset, iset + 18, expected));
    EXPECT_EQ(status, -10);
    EXPECT_EQ(rset[1], std::sqrt(0x1p-63));
    EXPECT_EQ(rset[7], 1e-7);
    EXPECT_EQ(tn001_.first, 6);
    EXPECT_EQ(tn003_.ftol, 1e-10);
    EXPECT_EQ(tn003_.maxfev, 16);
    EXPECT_EQ(tn006_.sqrtN, std::sqrt(6));

    tn001_ = {3, 4};
    n = status = iset[3] = 0;
    setlis_(&n, iset, rset, &status);
    EXPECT_EQ(tn001_.first, 3);
    EXPECT_EQ(tn001_.second, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(iset[3], 0);
    const double constants[] = {0, 0x1p-63, 0, std::numeric_limits<double>::infinity(), 0};
    for (int which = 0; which < 5; ++which)
        EXPECT_EQ(tnmach_(&which), constants[which]) << which;
}

} // namespace
