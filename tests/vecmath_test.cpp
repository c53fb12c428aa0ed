#include "saddlefit/vecmath.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace {

using std::numbers::pi;
using Vec = std::array<double, 3>;
using Vec4 = std::array<double, 4>;
using FVec = std::array<float, 3>;
using Mat4 = std::array<double, 16>;

FVec single(const double *v) {
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

template <class A, class B> void expectNear(const A &actual, const B &expected, double tolerance) {
    for (std::size_t i = 0; i < actual.size(); ++i)
        EXPECT_NEAR(actual[i], expected[i], tolerance) << "component " << i;
}

const Mat4 identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

TEST(Normalising, GivesUnitLengthOrNothingAndScalesAFourthComponentToo) {
    const struct {
        const char *label;
        Vec4 v;
        int result;
        Vec4 expected;
    } rows[] = {
        {"zero", {0, 0, 0, 5}, 0, {0, 0, 0, 5}},
        {"next to zero", {1e-13, 0, 0, 5}, 0, {0, 0, 0, 0}},
        {"short", {0, -1e-11, 0, 2e-11}, 1, {0, -1, 0, 2}},
        {"prescaled", {3000, 4000, 0, 1e4}, 1, {0.6, 0.8, 0, 2}},
        {"prescaled negative", {0, -3e30, 4e30, 5e30}, 1, {0, -0.6, 0.8, 1}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        Vec4 plane = row.v;
        Vec v = {row.v[0], row.v[1], row.v[2]};
        FVec f = single(row.v.data());
        EXPECT_EQ(V_Normd(v.data()), row.result);
        EXPECT_EQ(V_Norm4d(plane.data()), row.result);
        EXPECT_EQ(V_Norm(f.data()), row.result);
        expectNear(v, row.expected, 1e-15);
        expectNear(plane, row.expected, 1e-15);
        expectNear(f, row.expected, 1e-7);
    }
}

TEST(Normalising, ObeysTheThreshold) {
    Vec atThreshold = {0, 0, 0.5}, below = {0, 0, 0.5}, incomparable = {0, NAN, 1};
    EXPECT_EQ(V_Normtd(atThreshold.data(), 0.5), 1);
    EXPECT_EQ(atThreshold, (Vec{0, 0, 1}));
    EXPECT_EQ(V_Normtd(below.data(), 1), 0);
    EXPECT_EQ(below, (Vec{0, 0, 0}));
    EXPECT_EQ(V_Normtd(incomparable.data(), 0.1), 0);
    EXPECT_EQ(incomparable, (Vec{0, 0, 0}));
}

TEST(Angles, MatchTheirGeometry) {
    const struct {
        const char *label;
        Vec a, b;
        double expected;
    } rows[] = {
        {"sixty", {1, 0, 0}, {0.5, std::sqrt(0.75), 0}, pi / 3},
        {"straight", {1, 0, 0}, {-2, 0, 0}, pi},
        {"tiny, lost to an arc cosine", {1, 0, 0}, {1, 1e-9, 0}, 1e-9},
        {"zero against all negative", {0, 0, 0}, {-1, -1, -1}, 0},
        {"all negative against zero", {-1, -1, -1}, {0, 0, 0}, 0},
    };
    const Vec vertex = {};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const FVec a = single(row.a.data()), b = single(row.b.data()), origin = {};
        EXPECT_NEAR(V_Angled(row.a.data(), row.b.data()), row.expected, 1e-15);
        EXPECT_NEAR(V_Angle3d(row.a.data(), vertex.data(), row.b.data()), row.expected, 1e-15);
        EXPECT_NEAR(V_Angle3(a.data(), origin.data(), b.data()), row.expected, 2e-7);
    }
    const Vec longer = {2e5, 0, 0}, shorter = {0.5e-3, std::sqrt(0.75) * 1e-3, 0};
    EXPECT_NEAR(V_NAngled(longer.data(), shorter.data()), pi / 3, 1e-15);
}

TEST(Dihedrals, HaveOppositeSensesInTheTwoPrecisions) {
    const Vec a = {1, 0, 0}, b = {0, 0, 0}, c = {0, 0, 1};
    const FVec fa = {1, 0, 0}, fb = {0, 0, 0}, fc = {0, 0, 1};
    for (const double degrees : {30.0, -150.0, 0.0, 180.0}) {
        SCOPED_TRACE(degrees);
        const double turn = degrees * pi / 180;
        const bool planar = degrees == 0 || degrees == 180;
        const Vec d = {std::cos(turn), planar ? 0 : std::sin(turn), 1};
        EXPECT_NEAR(V_Dihedrald(a.data(), b.data(), c.data(), d.data()), turn, 1e-15);
        EXPECT_NEAR(V_Dihedral(fa.data(), fb.data(), fc.data(), single(d.data()).data()),
                    planar ? turn : -turn, 1e-6);
    }
}

TEST(SinglePrecision, IsKeptInIntermediateResults) {
    const FVec a = {1e8f, 1, -1e8f}, ones = {1, 1, 1};
    EXPECT_EQ(V_Dot(a.data(), ones.data()), 0);
    EXPECT_EQ(V_Mag(ones.data()), static_cast<double>(std::sqrt(3.0f)));
    EXPECT_EQ(V_Dotd(Vec{1e8, 1, -1e8}.data(), Vec{1, 1, 1}.data()), 1);

    Mat4 wide{};
    std::array<float, 16> narrow{}, product{};
    for (std::size_t k = 0; k < 3; ++k) {
        wide[k] = 1;
        narrow[4 * k] = a[k];
    }
    V_MultMat4df(wide.data(), narrow.data(), product.data());
    EXPECT_EQ(product[0], 1.0f);
}

TEST(Vectors, FollowTheirDefinitions) {
    const Vec a = {1, 2, 3}, b = {-2, 0.5, 4};
    Vec out = a;
    V_Subd(out.data(), b.data(), out.data());
    EXPECT_EQ(out, (Vec{3, 1.5, -1}));
    EXPECT_EQ(V_Distsqd(a.data(), b.data()), 12.25);
    EXPECT_EQ(V_Distd(a.data(), b.data()), 3.5);
    EXPECT_EQ(V_SMagd(a.data()), 14);
    V_Addd(out.data(), b.data(), out.data());
    V_Multd(-2, out.data(), out.data());
    V_Negd(out.data());
    EXPECT_EQ(out, (Vec{2, 4, 6}));
    EXPECT_EQ(V_Normald(a.data(), Vec{-2, -4, -6}.data(), out.data()), 0);
    EXPECT_EQ(out, Vec());
    V_Crossd(a.data(), b.data(), out.data());
    EXPECT_EQ(out, (Vec{6.5, -10, 4.5}));

    const Vec high = {0, 0, 5}, low = {0, 0, 1}, up = {0, 0, 2}, none = {0, 0, 0};
    EXPECT_EQ(V_DistPlaned(low.data(), high.data(), up.data()), -4);
    EXPECT_EQ(V_DistPlaned(low.data(), high.data(), none.data()), 0);
}

TEST(Perpendicular, FallsBackWhereTheVectorLiesAlongX) {
    for (const auto &[v, expected] :
         {std::pair(Vec{0, 0, 1}, Vec{0, -1, 0}), {{1, 0, 0}, {0, 0, -1}}, {Vec(), Vec()}}) {
        Vec out = {7, 7, 7};
        EXPECT_EQ(V_Perpd(v.data(), out.data()), v != Vec());
        EXPECT_EQ(out, expected);
    }
}

TEST(Rotations, TurnTheWayTheirConventionSays) {
    for (const std::size_t i : {0u, 1u, 2u}) {
        SCOPED_TRACE(i);
        Vec axis{}, from{}, to{}, out;
        axis[i] = from[(i + 1) % 3] = to[(i + 2) % 3] = 1;
        std::array<double, 9> about;
        Mat4 homogeneous;
        V_RotateAxis3d(about.data(), pi / 2, "xyz"[i]);
        V_Trans33d(from.data(), about.data(), out.data());
        expectNear(out, to, 1e-15);
        V_RotateAxis4d(homogeneous.data(), pi / 2, "xyz"[i]);
        V_Trans34d(from.data(), homogeneous.data(), out.data());
        expectNear(out, to, 1e-15);
        V_RotateVector4d(homogeneous.data(), pi / 2, axis.data());
        V_Trans34d(to.data(), homogeneous.data(), out.data());
        expectNear(out, from, 1e-15);
    }
    Mat4 other;
    V_RotateAxis4d(other.data(), 1, 'X');
    EXPECT_EQ(other, identity);
}

TEST(Rotations, AboutAnyAxisKeepTheAxisAndTurnByTheAngle) {
    const Vec axis = {2.0 / 3, -1.0 / 3, 2.0 / 3}, across = {1 / std::sqrt(5), 2 / std::sqrt(5), 0};
    std::array<double, 9> m;
    Vec out, turn;
    V_RotateVector3d(m.data(), 0.7, axis.data());
    V_Trans33d(axis.data(), m.data(), out.data());
    expectNear(out, axis, 1e-15);
    V_Trans33d(across.data(), m.data(), out.data());
    EXPECT_NEAR(V_Angled(across.data(), out.data()), 0.7, 1e-15);
    V_Crossd(across.data(), out.data(), turn.data());
    EXPECT_LT(V_Dotd(turn.data(), axis.data()), 0);
}

TEST(Matrices, ProductAppliesItsFirstFactorFirst) {
    std::mt19937 random(8);
    std::uniform_real_distribution<double> value(-2, 2);
    Mat4 a, b, c, inPlace;
    for (std::size_t i = 0; i < 16; ++i)
        a[i] = value(random), b[i] = value(random);
    V_MultMat4d(a.data(), b.data(), c.data());
    Vec4 p = {0.3, -1, 2, 1}, twice, once;
    V_Trans44d(p.data(), a.data(), twice.data());
    V_Trans44d(twice.data(), b.data(), twice.data());
    V_Trans44d(p.data(), c.data(), once.data());
    expectNear(once, twice, 1e-12);
    EXPECT_EQ(once[3], 1);
    V_Trans34d(p.data(), c.data(), p.data());
    expectNear(p, once, 1e-12);
    for (const Mat4 *first : {&a, &b}) { // the second time onto itself
        V_EmLoadmatrixd(inPlace.data(), b.data());
        V_MultMat4d(first->data(), b.data(), c.data());
        V_EmMultmatrixd(inPlace.data(), first == &b ? inPlace.data() : a.data());
        EXPECT_EQ(inPlace, c);
    }
}

TEST(Matrices, TransposeInPlaceAndAcross) {
    std::array<double, 9> m = {1, 2, 3, 4, 5, 6, 7, 8, 9}, across;
    V_Transpose33d(m.data(), across.data());
    V_Transpose33d(m.data(), m.data());
    EXPECT_EQ(across, (std::array<double, 9>{1, 4, 7, 2, 5, 8, 3, 6, 9}));
    EXPECT_EQ(m, across);
    Mat4 large, back, transposed;
    std::array<float, 16> single;
    for (std::size_t i = 0; i < 16; ++i)
        large[i] = 1.0 / static_cast<double>(i + 3), transposed[i % 4 * 4 + i / 4] = large[i];
    V_Transpose44d(large.data(), back.data());
    EXPECT_EQ(back, transposed);
    V_DtoFMat4(large.data(), single.data());
    V_FtoDMat4(single.data(), back.data());
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(back[i], static_cast<float>(large[i])) << i;
    V_DtoFMat3(m.data(), single.data());
    V_FtoDMat3(single.data(), across.data());
    EXPECT_EQ(across, m) << "small integers survive";
    EXPECT_EQ(single[9], static_cast<float>(large[9])) << "nine are written";
}

TEST(Matrices, HomogeneousPointsAreDividedByTheirWeight) {
    Mat4 m = identity;
    m[3] = 0.5; // x adds to the weight
    Vec4 p = {2, 3, 4, 2};
    V_Trans44d(p.data(), m.data(), p.data());
    EXPECT_EQ(p, (Vec4{2.0 / 3, 1, 4.0 / 3, 1})); // by 2 + 2 / 2
}

TEST(Matrices, LastCallActsFirst) {
    Mat4 m, halving = identity;
    Vec p = {1, 1, 1};
    V_EmLoadIdentityd(m.data());
    V_EmTranslated(m.data(), 1, 2, 3);
    V_EmScaled(m.data(), 2, 3, 4);
    V_Trans34d(p.data(), m.data(), p.data());
    EXPECT_EQ(p, (Vec{3, 5, 7}));
    V_Translate4d(m.data(), 1, 0, 0);
    EXPECT_EQ((Vec{m[12], m[13], m[14]}), (Vec{3, 2, 3}));
    halving[15] = 2;
    V_Trans34d(p.data(), halving.data(), p.data());
    EXPECT_EQ(p, (Vec{1.5, 2.5, 3.5}));
}

TEST(Viewport, MapsTheCubeOntoTheWindow) {
    Mat4 m;
    Vec low = {-1, -1, -1}, high = {1, 1, 1};
    V_EmViewport(m.data(), 0, 0, 640, 480);
    V_Trans34d(low.data(), m.data(), low.data());
    V_Trans34d(high.data(), m.data(), high.data());
    EXPECT_EQ(low, (Vec{-0.5, -0.5, -33552384}));
    EXPECT_EQ(high, (Vec{639.5, 479.5, 0}));
    V_EmViewport(m.data(), 1 << 30, 0, 1, 1);
    EXPECT_EQ(m[12], -1073741824.0) << "32-bit sums wrap around";
}

} // namespace
