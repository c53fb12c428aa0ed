#include "saddlefit/linesearch.h"
#include "saddlefit/superpose.h"
#include "saddlefit/vecmath.h"

#include "superpose/alignment.hpp"
#include "superpose/closed_form.hpp"
#include "superpose/frame.hpp"
#include "tests/molecules.hpp"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <numeric>
#include <random>

using namespace saddlefit;
using namespace saddlefit::test;

namespace {

using Points = std::vector<double>; // x y z by point
using Mat4 = std::array<double, 16>;

struct Random {
    std::mt19937 engine;
    Points values(std::size_t count, double bound) {
        std::uniform_real_distribution<double> value(-bound, bound);
        Points result(count);
        std::generate(result.begin(), result.end(), [&] { return value(engine); });
        return result;
    }
    Points points(std::size_t n) { return values(3 * n, 3); }
};

/// A motion's transform from its angles and translation, as the minimiser orders them.
Mat4 transformBy(const Points &x) {
    Mat4 transform;
    Trans4(transform.data(), x[3], x[4], x[5], x[0], x[1], x[2]);
    return transform;
}

Points moved(Points points, const Mat4 &transform) { // row-major
    for (std::size_t i = 0; i < points.size(); i += 3)
        Trans4x3(transform.data(), &points[i], &points[i]);
    return points;
}

Points movedByColumns(const Points &points, Mat4 transform) {
    V_Transpose44d(transform.data(), transform.data());
    return moved(points, transform);
}

void expectSamePoints(const Points &actual, const Points &expected, double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i)
        EXPECT_NEAR(actual[i], expected[i], tolerance) << "point " << i / 3;
}

OwnedMol moleculeAt(const Points &points) {
    OwnedMol mol(createMol());
    for (std::size_t i = 0; i < points.size(); i += 3)
        addAtom(mol.get(), points[i], points[i + 1], points[i + 2], 6);
    return mol;
}

Points pointsOf(const OwnedMol &mol) {
    Points result;
    for (const Atom &atom : atomsOf(*mol))
        result.insert(result.end(), {atom.x, atom.y, atom.z});
    return result;
}

struct Pairs {
    Points ref, fit, resid;
    AlignMapState state;
    Pairs(Points r, Points f)
        : ref(std::move(r)),
          fit(std::move(f)),
          resid(ref.size()),
          state{static_cast<int>(ref.size() / 3), ref.data(), fit.data(), resid.data()} {}
};

struct Evaluation {
    Points f = Points(2, -7), g = Points(6, -7), h = Points(36, -7);
    Evaluation(Pairs &pairs, const Points &x, int mode) {
        const int n = 6;
        int aux = 1;
        calcFGH(&n, x.data(), f.data(), g.data(), h.data(), &aux, &aux, &mode, &aux, &pairs.state);
    }
};

// ---- closed form: unit quaternions (Horn 1987) ----------------------------------------------

/// Of a symmetric matrix: shifted to be positive and squared over and over, it comes down to the
/// projection onto the eigenvectors asked for.
double largestEigenvalue(const Mat4 &form) {
    double bound = 0;
    for (const double entry : form)
        bound += std::abs(entry);
    Mat4 power = form;
    for (std::size_t i = 0; i < 16; i += 5)
        power[i] += bound;
    for (int doubling = 0; doubling < 60; ++doubling) {
        Mat4 square = {};
        for (std::size_t i = 0; i < 64; ++i)
            square[i / 4] += power[i / 16 * 4 + i % 4] * power[i % 4 * 4 + i / 4 % 4];
        const double trace = square[0] + square[5] + square[10] + square[15];
        for (std::size_t i = 0; i < 16; ++i)
            power[i] = square[i] / trace;
    }
    double projected = 0; // with trace(P) = 1, trace(P K)
    for (std::size_t i = 0; i < 16; ++i)
        projected += power[i] * form[i];
    return projected;
}

double closedFormMisfit(const Points &a, const Points &b) {
    const double n = static_cast<double>(a.size()) / 3;
    double sumA[3] = {}, sumB[3] = {}, s[3][3] = {}, squares = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const std::size_t j = i % 3;
        sumA[j] += a[i];
        sumB[j] += b[i];
        squares += a[i] * a[i] + b[i] * b[i];
        for (std::size_t k = 0; k < 3; ++k)
            s[j][k] += a[i] * b[i - j + k];
    }
    for (std::size_t j = 0; j < 3; ++j) { // about the centroids
        squares -= (sumA[j] * sumA[j] + sumB[j] * sumB[j]) / n;
        for (std::size_t k = 0; k < 3; ++k)
            s[j][k] -= sumA[j] * sumB[k] / n;
    }
    const double yz = s[1][2] - s[2][1], zx = s[2][0] - s[0][2], xy = s[0][1] - s[1][0];
    const double xx = s[0][0], yy = s[1][1], zz = s[2][2];
    const double pxy = s[0][1] + s[1][0], pxz = s[0][2] + s[2][0], pyz = s[1][2] + s[2][1];
    Mat4 form = {xx + yy + zz, yz,  zx,           xy,  yz, xx - yy - zz, pxy, pxz,
                 zx,           pxy, yy - xx - zz, pyz, xy, pxz,          pyz, zz - xx - yy};
    return std::sqrt(std::max(0.0, squares - 2 * largestEigenvalue(form))) / n;
}

// ---- frames ----------------------------------------------------------------------------------

TEST(Frames, PutThreePointsIntoTheirPlaces) {
    Random random{std::mt19937(61)};
    for (const std::size_t n : {1u, 2u, 3u, 8u}) {
        SCOPED_TRACE(n);
        const Points before = random.points(n);
        Points after = before;
        double params[ALIGN_PARAMS] = {};
        align_mol(after.data(), static_cast<int>(n), params);
        Mat4 matrix;
        buildAlignMatrix(matrix.data(), params);
        expectSamePoints(movedByColumns(before, matrix), after, 1e-14);
        EXPECT_EQ(params[3] == 0, n < 3);
        EXPECT_EQ(params[5] == 0, n < 2);
        Points places = {0, 0, 0};
        if (n > 1) places.insert(places.end(), {V_Distd(&before[3], &before[0]), 0, 0});
        if (n > 2) places.insert(places.end(), {after[6], std::abs(after[7]), 0});
        expectSamePoints({after.begin(), after.begin() + std::ssize(places)}, places, 1e-14);
        expectSamePoints({after.begin(), after.begin() + 3}, {0, 0, 0}, 0);
    }
    double params[ALIGN_PARAMS];
    align_mol(nullptr, 0, params);
    expectSamePoints({params, params + 6}, Points(6, 0.0), 0);
}

// ---- objective -------------------------------------------------------------------------------

TEST(Objective, DerivativesMatchDifferencesButForTheCoupling) {
    constexpr double Step = 1e-5, Tolerance = 1e-6;
    Random random{std::mt19937(63)};
    for (int round = 0; round < 5; ++round) {
        Pairs pairs(random.points(6), random.points(6));
        const Points x = random.values(6, 1.5);
        const Evaluation here(pairs, x, 3);
        for (std::size_t k = 0; k < 6; ++k) {
            Points up = x, down = x;
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
    Pairs pairs({1, 2, 3}, {3, 2, 1});
    for (const int mode : {0, 1, 33, 2, 3, 7, 8}) {
        SCOPED_TRACE(mode);
        const Evaluation result(pairs, {0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, mode);
        EXPECT_NE(result.f[0], -7);
        EXPECT_EQ(result.f[1] != -7, mode % 8 > 0);
        EXPECT_EQ(result.g[5] != -7, mode % 8 > 0);
        EXPECT_EQ(result.h[35] == 1, mode % 8 > 1);
    }
    pairs.state = {};
    const Evaluation empty(pairs, Points(6), 3);
    EXPECT_EQ(empty.f[0], 0);
    EXPECT_EQ(empty.g, Points(6));
}

// ---- minimiser and alignment -----------------------------------------------------------------

TEST(Alignment, ReachesTheClosedFormMisfitByMovingOrByItsTransforms) {
    Random random{std::mt19937(68)};
    for (std::size_t round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        const std::size_t n = 3 + round % 10;
        const Points a = random.points(n), noise = random.values(3 * n, 0.1);
        Points anywhere = random.values(6, 3);
        for (std::size_t j = 3; j < 6; ++j)
            anywhere[j] *= 3;
        Points b = moved(a, transformBy(anywhere));
        std::transform(b.begin(), b.end(), noise.begin(), b.begin(), std::plus());
        const double expected = closedFormMisfit(a, b);

        const OwnedMol ref = moleculeAt(a), mol = moleculeAt(b);
        Ints map(n);
        std::iota(map.begin(), map.end(), 0);
        Mat4 refMatrix, molMatrix; // asked for, instead of the motion
        EXPECT_NEAR(
            alignMapMols(ref.get(), mol.get(), map.data(), refMatrix.data(), molMatrix.data()),
            expected, 1e-8);
        EXPECT_EQ(pointsOf(ref), a);
        EXPECT_EQ(pointsOf(mol), b);
        EXPECT_NEAR(alignMapMols(ref.get(), mol.get(), map.data(), nullptr, nullptr), expected,
                    1e-8);
        EXPECT_EQ(movedByColumns(a, refMatrix), pointsOf(ref));
        EXPECT_EQ(movedByColumns(b, molMatrix), pointsOf(mol));
        double squares = 0;
        for (std::size_t i = 0; i < n; ++i)
            squares += V_Distsqd(&ref->atoms[i].x, &mol->atoms[i].x);
        EXPECT_NEAR(std::sqrt(squares) / static_cast<double>(n), expected, 1e-8);
    }
}

TEST(ClosedForm, TellsWhatNoMotionReaches) {
    Random random{std::mt19937(71)};
    const char *const shapes[] = {"any", "planar", "on a line", "mirrored", "coincident", "same"};
    for (std::size_t round = 0; round < 600; ++round) {
        SCOPED_TRACE(shapes[round % 6]);
        const std::size_t n = 1 + round / 6 % 12;
        Points a = random.points(n), b = random.points(n);
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (round % 6 == 1 && i % 3 == 2) a[i] = 0;
            if (round % 6 == 2 && i % 3 > 0) a[i] = a[i - i % 3];
            if (round % 6 == 3) b[i] = i % 3 ? a[i] : -a[i];
            if (round % 6 == 4) b[i] = b[i % 3];
            if (round % 6 == 5) b[i] = a[i];
        }
        const double misfit = closedFormMisfit(a, b);
        const double least = std::pow(misfit * static_cast<double>(n), 2);
        const auto mayFallBelow = [&](double limit, double margin) {
            return squaresMayFallBelow(limit, margin, a.data(), b.data(), static_cast<int>(n));
        };
        EXPECT_TRUE(mayFallBelow(least + 1e-9, 0));
        EXPECT_FALSE(mayFallBelow(least - 1e-9, 0));
        EXPECT_TRUE(mayFallBelow(least - 1e-9, 2e-9));
        EXPECT_TRUE(mayFallBelow(NAN, 0));

        const OwnedMol mol = moleculeAt(b), image = moleculeAt(b);
        for (Atom &atom : atomsOf(*image))
            atom.x = -atom.x;
        Ints map(n);
        std::iota(map.begin(), map.end(), 0);
        std::vector<double> work(b.size());
        const AlignMapState state{static_cast<int>(n), a.data(), work.data(), nullptr};
        EXPECT_TRUE(alignmentMayBeat(misfit + 1e-9, *mol, map, false, state));
        EXPECT_FALSE(alignmentMayBeat(misfit - 1e-3, *mol, map, false, state) && misfit > 1e-3);
        EXPECT_FALSE(alignmentMayBeat(misfit - 1e-3, *image, map, true, state) && misfit > 1e-3);
    }
}

TEST(Alignment, OfOneAtomIsATranslationAndOfNoneMovesNothing) {
    const Points a = {1, 2, 3, 4, 5, 6}, b = {7, 8, 9};
    for (const auto &map : {std::array{-1, 0}, {-1, -7}, {1, INT_MAX}}) {
        SCOPED_TRACE(testing::PrintToString(map));
        const OwnedMol ref = moleculeAt(a), mol = moleculeAt(b);
        EXPECT_EQ(alignMapMols(ref.get(), mol.get(), map.data(), nullptr, nullptr), 0);
        EXPECT_EQ(pointsOf(ref), map[1] == 0 ? (Points{-3, -3, -3, 0, 0, 0}) : a);
        EXPECT_EQ(pointsOf(mol), map[1] == 0 ? Points(3) : b);
    }
}

TEST(Alignment, CountsTheFirstPairsThatBothSidesHave) {
    Random random{std::mt19937(70)};
    const OwnedMol ref = moleculeAt(random.points(4)), mol = moleculeAt(random.points(6));
    const int select[4] = {-7, -1, -2, -7};
    const std::pair<Ints, Ints> rows[] = {
        // a map, and the pairs that count, by reference atom
        {{3, -1, 2, 0, 1, 5}, {3, -1, 2, 0}},
        {{3, 2}, {3, -1, 2, -1}},
        {{6, 3, 99, 2}, {3, -1, 2, -1}},
    };
    for (const auto &[map, same] : rows) {
        AlignMapState state;
        double params[ALIGN_PARAMS], m[16];
        alignMapStart(ref.get(), select, m, &state, params);
        const int entries = static_cast<int>(map.size());
        EXPECT_NEAR(alignMapMol(mol.get(), map.data(), entries, m, &state, params),
                    alignMapMols(ref.get(), mol.get(), same.data(), m, m), 1e-7);
        alignMapEnd(&state);
        alignMapEnd(&state);
        EXPECT_EQ(state.count, 3);
    }
}

// ---- line search -----------------------------------------------------------------------------

struct Curve {
    std::function<double(double)> value, slope; // along x[0]
    std::vector<double> steps = {};
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
    double x = 0, f = 0;
    int info = 99, evaluations = 99;
};

Outcome search(Curve &curve, double direction, double step) {
    Outcome out;
    const int n = 1, flag = 0;
    double start, slope = curve.slope(0);
    out.f = curve.value(0);
    mlines_(&n, &out.x, &out.f, &slope, &direction, &step, &out.info, &start, &out.evaluations,
            &flag, &curve, evaluateCurve, mvX, calcGdir);
    return out;
}

Curve parabola(double minimum) {
    return {[=](double x) { return (x - minimum) * (x - minimum); },
            [=](double x) { return 2 * (x - minimum); }};
}

TEST(LineSearch, EndsAsTheShapeDemandsOrGivesUpWithTheReason) {
    const auto falls = [](double) { return -1; };
    const Curve line = {[](double x) { return -x; }, falls};
    const Curve wrongSlope = {[](double x) { return x; }, falls};
    const Curve cliff = {[](double x) { return x > 0 ? 1 + x : 0; }, falls};
    const Curve ray = {[](double x) { return -x / 2; }, [](double x) { return x > 0 ? -.5 : -1; }};
    const struct {
        const char *label;
        Curve curve;
        double direction, step;
        int info, evaluations; ///< 0: not fixed
        double x;
        int limit = 16;
        double decrease = 1e-10;
    } rows[] = {
        {"minimum at the first step", parabola(1), 1, 1, 8, 1, 1},
        {"slope has changed sign", parabola(0.8), 1, 1, 7, 1, 1},
        {"overshot, then interpolated", parabola(0.125), 1, 1, 1, 2, 0.125},
        {"lower but too steep", parabola(0.51), 1, 1, 2, 2, 0.51},
        {"goes on past acceptable steps", parabola(10), 1, 1.1, 5, 3, 10},
        {"ascending direction", parabola(1), -1, 0.5, 18, 1, 1},
        {"zero gradient", parabola(0), 1, 1, 7, 0, 0},
        {"step 0", parabola(1), 1, 0, 99, 0, 0},

        // 0.6 less the line of sufficient decrease, below which the first stage looks
        {"minimum of the lowered parabola", parabola(0.6), 1, 1, 1, 2, 0.3, 16, 0.5},
        // Without a bracket, steps grow as (4^k - 1) / 3; the best one is repeated at the limit.
        {"endless descent", line, 1, 1, -3, 16, 357913941},
        {"endless descent to the upper bound", line, 1, 1, -5, 35, 1e20, 99},
        {"steep ray, half the evaluations", ray, 1, 10, 6, 8, 218450},
        {"rise at the lower bound", cliff, 1, 1e-30, -4, 1, 1e-20},
        {"a jump shrinks the step to the lower bound", cliff, 1, 1, -4, 0, 1e-20},
        {"nothing lower", wrongSlope, 1, 1, -13, 16, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        tn003_ = {row.decrease, 0.9, row.limit};
        Curve curve = row.curve;
        const Outcome out = search(curve, row.direction, row.step);
        EXPECT_EQ(out.info, row.info);
        EXPECT_EQ(out.evaluations, std::ssize(curve.steps));
        EXPECT_LE(out.evaluations, row.limit);
        if (row.info != -4) {
            EXPECT_EQ(out.evaluations, row.evaluations);
        }
        EXPECT_DOUBLE_EQ(out.x, row.x);
        EXPECT_EQ(out.f, curve.value(out.x));
    }
}

TEST(LineSearch, HalvesABracketThatShrinksTooSlowly) {
    constexpr double Kink = 0.1, Wall = 100;
    Curve curve = {[](double x) { return x < Kink ? -x : -Kink + Wall * (x - Kink); },
                   [](double x) { return x < Kink ? -1 : Wall; }};
    tn003_ = {1e-10, 0.9, 16};
    search(curve, 1, 1);
    EXPECT_LT(curve.steps[2], 0.01);
    EXPECT_DOUBLE_EQ(curve.steps[3], (curve.steps[2] + 1) / 2);
}

TEST(LineSearch, RepairsADirectionElementByElement) {
    Pairs pairs({2, 0, 0}, {0, 0, 0}); // with translations alone, a parabola around (2, 0, 0)
    const int n = 6, flag = 1;
    Points x(6), g{0, 0, 0, -2, 0, 0}, s{0, 0, 0, -1, 1, 0}, wa(6);
    double f = 2, step = 1;
    int info, evaluations;
    tn003_ = {1e-10, 0.9, 16};
    mlines_(&n, x.data(), &f, g.data(), s.data(), &step, &info, wa.data(), &evaluations, &flag,
            &pairs.state, calcFGH, mvX, calcGdir);
    EXPECT_NEAR(s[3], std::sqrt(2) - 1, 1e-15);
    EXPECT_EQ(s[4], 1);
    EXPECT_EQ(info, 7); // the slope goes from -0.83 to 0.34 in the first step; 17 if replaced
}

TEST(TrialStep, FollowsItsFourCasesAndRefusesInvalidInputUntouched) {
    struct StepData {
        double stx, fx, dx, sty, fy, dy, stp, fp, dp;
        int brackt;
        double low, high;
    };
    const double held = 0.5 + 0.5 * static_cast<double>(0.66f);
    const double between = (std::sqrt(1.0 / 6) + 0.25) / 2; // minima of cubic and parabola
    const struct {
        const char *label;
        StepData data;
        int info, brackt;
        double stx, sty, stp;
    } rows[] = {
        {"higher: 2x^3-x", {0, 0, -1, 0, 0, -1, 1, 1, 5, 0, 0, 5}, 1, 1, 0, 1, between},
        {"slope changed: x^3-2x", {0, 0, -2, 0, 0, -2, 1, -1, 1, 0, 0, 5}, 2, 1, 1, 0, 2 / 3.},
        {"flatter, open", {0, 0, -4, 0, 0, -4, 1, -3, -2, 0, 0, 5}, 3, 0, 1, 0, 2},
        {"flatter, held back", {0, 0, -1, 1, 0, 1, .5, -.4, -.9, 1, 0, 1}, 3, 1, .5, 1, held},
        {"steeper, open", {0, 0, -1, 0, 0, -1, 1, -3, -2, 0, 0, 5}, 4, 0, 1, 0, 5},
        // the cubic that agrees with x^4-4x at 1/2 and 3/2
        {"steeper", {0, 0, -1, 1.5, -.9375, 9.5, .5, -1.9375, -3.5, 1, 0, 2}, 4, 1, .5, 1.5, 1},
        {"at the end of the bracket", {0, 0, -1, 1, 1, 1, 1, 2, 1, 1, 0, 1}, 0, 1, 0, 1, 1},
        {"uphill", {0, 0, 1, 0, 0, 1, 1, 2, 1, 0, 0, 5}, 0, 0, 0, 0, 1},
        {"no slope", {0, 0, 0, 0, 0, 0, 1, 2, 1, 0, 0, 5}, 0, 0, 0, 0, 1},
        {"bounds exchanged", {0, 0, -1, 0, 0, -1, 1, 2, 1, 0, 5, 0}, 0, 0, 0, 0, 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        StepData d = row.data;
        int info = 99;
        newstp_(&d.stx, &d.fx, &d.dx, &d.sty, &d.fy, &d.dy, &d.stp, &d.fp, &d.dp, &d.brackt, &d.low,
                &d.high, &info);
        EXPECT_EQ(info, row.info);
        EXPECT_EQ(d.brackt, row.brackt);
        EXPECT_EQ((std::array{d.stx, d.sty}), (std::array{row.stx, row.sty}));
        EXPECT_NEAR(d.stp, row.stp, row.info ? 1e-15 : 0);
        if (row.info == 0) {
            EXPECT_EQ((std::array{d.fx, d.fy}), (std::array{row.data.fx, row.data.fy}));
        }
    }
}

} // namespace
