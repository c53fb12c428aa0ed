#include "host/saddle/attempt.hpp"
#include "host/saddle/hessian.hpp"
#include "host/saddle/intrinsic_path.hpp"
#include "host/saddle/ladder.hpp"
#include "host/saddle/path.hpp"
#include "host/saddle/rational_step.hpp"
#include "host/saddle/saddle_mode.hpp"
#include "host/saddle/xtb_surface.hpp"
#include "host/structures/units.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace {

using namespace saddlefit::host;

/// The surface of K. Mueller and L. D. Brown, Theor. Chim. Acta 53, 75 (1979), a thousandth as high
/// so that its energies are as those of molecules. It is 0.1 units long where molecules are bohrs
/// long.
class MuellerBrown final : public EnergySurface {
public:
    MuellerBrown() : EnergySurface(Species{}) {}
    std::string level() const override { return "analytic"; }

private:
    Evaluation evaluate(const Eigen::VectorXd &r) override {
        constexpr double height[] = {-200, -100, -170, 15};
        constexpr double a[] = {-1, -1, -6.5, 0.7}, b[] = {0, 0, 11, 0.6},
                         c[] = {-10, -10, -6.5, 0.7};
        constexpr double x0[] = {1, 0, -0.5, -1}, y0[] = {0, 0.5, 1.5, 1};
        Evaluation sum{0.0, Eigen::Vector2d::Zero()};
        for (int k = 0; k < 4; ++k) {
            const double x = r[0] - x0[k], y = r[1] - y0[k];
            const double term =
                1e-3 * height[k] * std::exp(a[k] * x * x + b[k] * x * y + c[k] * y * y);
            sum.energy += term;
            sum.gradient[0] += term * (2 * a[k] * x + b[k] * y);
            sum.gradient[1] += term * (b[k] * x + 2 * c[k] * y);
        }
        return sum;
    }
};

TEST(SaddleSearch, FindsThePublishedSaddlesOfAnAnalyticSurfaceAndTheirMinima) {
    struct Row {
        Eigen::Vector2d start, saddle, end1, end2;
        double energy;
    };
    const Eigen::Vector2d left(-0.558, 1.442), middle(-0.050, 0.467), right(0.623, 0.028);
    const Row rows[] = {{{-0.7, 0.6}, {-0.822, 0.624}, left, middle, -40.665},
                        {{0.3, 0.35}, {0.212, 0.293}, middle, right, -72.249}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.energy);
        MuellerBrown surface;
        const auto point = findFirstOrder(surface, {row.start, {}, {}}, anyDirection, {});
        ASSERT_TRUE(point.isFirstOrder());
        EXPECT_LT((point.coordinates - row.saddle).norm(), 2e-3);
        EXPECT_NEAR(1e3 * point.energy, row.energy, 1e-3);
        MinimiseOptions small;
        small.longestStep = 0.1;
        small.largestGradient = 1e-5;
        for (const double sign : {1.0, -1.0}) {
            const auto end =
                minimise(surface, point.coordinates + sign * 0.05 * point.vibrations.modes.col(0),
                         positiveHessian(point.hessian, 0.02), small);
            ASSERT_TRUE(end.converged);
            const auto &x = end.coordinates;
            EXPECT_LT(std::min((x - row.end1).norm(), (x - row.end2).norm()), 2e-3);
        }
    }
}

TEST(SaddleSearch, FollowsTheModeThatGoesWithTheReaction) {
    const Eigen::Matrix3d hessian = Eigen::Vector3d(-0.05, -0.04, 0.4).asDiagonal();
    struct Row {
        Eigen::Vector3d direction;
        Eigen::Index mode;
    };
    const double small = 0.05;
    const Row rows[] = {{{1, 0.2, 0}, 0}, {{0.2, 1, 0}, 1}, {{small, 0.3, 1}, 1}};
    for (const auto &row : rows)
        EXPECT_EQ(chooseMode(hessian, row.direction.normalized(), {}).index, row.mode);

    // The search has come off that way: the Hessian is bent down along it, to 0.03 below zero.
    const Eigen::VectorXd before = Eigen::Vector3d(1, 0, 0);
    const auto bent = chooseMode(hessian, Eigen::Vector3d(0, 0, 1), before);
    EXPECT_NEAR(bent.spectrum.values[bent.index], -0.03, 1e-12);
    EXPECT_NEAR(std::abs(bent.spectrum.vectors(2, bent.index)), 1.0, 1e-12);
}

TEST(RationalStep, IsTheEigenvectorOfTheBorderedMatrixUnlessThatIsTooLong) {
    const Eigen::Vector3d curvatures(0.1, 0.4, 0.9), components(0.02, -0.05, 0.01);
    Eigen::Matrix4d bordered = Eigen::Matrix4d::Zero();
    bordered.diagonal().head<3>() = curvatures;
    bordered.block<3, 1>(0, 3) = components;
    bordered.block<1, 3>(3, 0) = components.transpose();
    const Eigen::Vector4d vector = spectrumOf(bordered).vectors.col(0);
    const Eigen::Vector3d expected = vector.head<3>() / vector[3];

    EXPECT_LT((rationalStep(curvatures, components, 10.0) - expected).norm(), 1e-9);
    const auto shortened = rationalStep(curvatures, components, 0.05);
    EXPECT_NEAR(shortened.norm(), 0.05, 1e-9);
    EXPECT_LT(shortened.dot(components), 0.0);
}

TEST(HessianUpdates, ReproduceTheGradientChange) {
    const Eigen::Vector3d step(0.1, -0.2, 0.05), change(0.04, -0.03, 0.06);
    Eigen::MatrixXd bofill = Eigen::Vector3d(-0.1, 0.3, 0.5).asDiagonal(), bfgs = bofill.cwiseAbs();
    bofillUpdate(bofill, step, change);
    EXPECT_LT((bofill * step - change).norm(), 1e-12);
    dampedBfgsUpdate(bfgs, step, change);
    EXPECT_LT((bfgs * step - change).norm(), 1e-12);
    dampedBfgsUpdate(bfgs, step, -change); // no positive matrix does that
    EXPECT_GT(spectrumOf(bfgs).values.minCoeff(), 0.0);
}

TEST(BondGraphs, KnowTheLongHydrogenOfSemiEmpiricalMethods) {
    const Species hydrogens{{1, 1}, 0, 0};
    Eigen::VectorXd apart = Eigen::VectorXd::Zero(6);
    apart[5] = 0.777 / angstromPerBohr;
    EXPECT_EQ(bondGraph(hydrogens, apart), BondGraph({{0, 1}}));
    apart[5] = 0.96 / angstromPerBohr;
    EXPECT_TRUE(bondGraph(hydrogens, apart).empty());
}

// What needs the library libxtb

Eigen::VectorXd inBohr(std::vector<double> angstrom) {
    return Eigen::Map<Eigen::VectorXd>(angstrom.data(),
                                       static_cast<Eigen::Index>(angstrom.size())) /
           angstromPerBohr;
}

bool xtbIsHere() {
    try {
        xtbSurface({{1, 1}, 0, 0});
        return true;
    } catch (const Error &) {
        return false;
    }
}

struct SmallReaction {
    const char *name;
    std::vector<int> elements;
    std::vector<double> reactant, product, guess; // angstrom
    BondGraph before, after;
    double barrier;    // kcal/mol
    double wavenumber; // cm-1
};

class SmallReactions : public testing::TestWithParam<SmallReaction> {};

TEST_P(SmallReactions, AreVerified) {
    if (!xtbIsHere()) GTEST_SKIP() << "libxtb is not installed";
    const auto &reaction = GetParam();
    const auto surface = xtbSurface({reaction.elements, 0, 0});
    for (const auto descent : {Descent::quick, Descent::fine}) {
        ReactionSides sides(*surface, {inBohr(reaction.reactant), reaction.before},
                            {inBohr(reaction.product), reaction.after});
        AttemptOptions options;
        options.descent = descent;
        const auto attempt = attemptFrom(*surface, {inBohr(reaction.guess), {}, {}},
                                         sides.direction(), &sides, options);
        ASSERT_EQ(nameOf(attempt.outcome), std::string("verified")) << attempt.reason;
        EXPECT_NEAR(attempt.saddle.vibrations.wavenumbers[0], reaction.wavenumber, 5.0);
        const double rise = attempt.saddle.energy - sides.reactant.relaxed().value.energy;
        EXPECT_NEAR(rise * kcalPerHartree, reaction.barrier, 0.1);
        EXPECT_GT(attempt.modeShare, 0.5);
    }
}

// Wavenumbers are those that the program xtb 6.5.1 computes at these saddles (--hess), barriers the
// difference of its energies there and at the minima that it relaxes the reactants to (--opt).
const SmallReaction smallReactions[] = {
    {"HCN",
     {6, 7, 1},
     {0, 0, 0, 0, 0, 1.15, 0, 0, -1.07},
     {0, 0, 0, 0, 0, 1.17, 0, 0, 2.17},
     {0, 0, 0, 0, 0, 1.18, 0, 1.1, 0.3},
     {{0, 1}, {0, 2}},
     {{0, 1}, {1, 2}},
     73.226,
     -1425.49},
    {"Formaldehyde",
     {6, 8, 1, 1},
     {0, 0, 0, 0, 0, 1.2, 0, 0.94, -0.59, 0, -0.94, -0.59},
     {0, 0, 0, 0, 0, 1.31, 0, 1.06, -0.29, 0, -0.91, 1.6},
     {0, 0, 0, 0, 0, 1.3, 0, 1.06, -0.3, 0, -1.1, 0.6},
     {{0, 1}, {0, 2}, {0, 3}},
     {{0, 1}, {0, 2}, {1, 3}},
     91.972,
     -2321.10},
    {"VinylAlcohol",
     {6, 6, 8, 1, 1, 1, 1},
     {0, 0,    0,    1.33, 0,    0,     -0.72, 1.15, 0,    -0.54, -0.94,
      0, 1.86, 0.94, 0,    1.89, -0.92, 0,     -0.1, 1.88, 0},
     {0, 0,   0,   1.5, 0,    0,    -0.6, 1.04, 0,    -0.5, -0.97,
      0, 1.9, 1.0, 0.3, 1.85, -0.6, 0.85, 1.85, -0.4, -0.95},
     {0, 0,   0,   1.42, 0,    0,    -0.4,  1.23, 0,   -0.6, -0.88,
      0, 1.9, 0.1, 0.95, 1.95, -0.1, -0.93, 0.85, 1.3, 0},
     {{0, 1}, {0, 2}, {0, 3}, {1, 4}, {1, 5}, {2, 6}},
     {{0, 1}, {0, 2}, {0, 3}, {1, 4}, {1, 5}, {1, 6}},
     61.608,
     -2109.63},
};
INSTANTIATE_TEST_SUITE_P(Saddles, SmallReactions, testing::ValuesIn(smallReactions),
                         [](const auto &row) { return row.param.name; });

TEST(Paths, InterpolateDistancesAndIgnoreHowTheSidesLie) {
    // A bond that grows by 0.8 bohr, in a molecule that is turned and shifted besides.
    const Eigen::VectorXd from = (Eigen::VectorXd(6) << 0, 0, 0, 0, 0, 1.4).finished();
    const Eigen::VectorXd to = (Eigen::VectorXd(6) << 5, 5, 5, 7.2, 5, 5).finished();
    const auto path = interpolatedPath(from, to, 3);
    ASSERT_EQ(path.size(), 5u);
    for (std::size_t i = 0; i < path.size(); ++i) {
        const double length = (path[i].tail<3>() - path[i].head<3>()).norm();
        EXPECT_NEAR(length, 1.4 + 0.2 * static_cast<double>(i), 1e-6);
    }
    const auto peaks = peaksOf(path, {-1.0, 0.0, 0.3, 0.1, -1.0});
    ASSERT_EQ(peaks.size(), 1u);
    const double at = (peaks[0].coordinates.tail<3>() - peaks[0].coordinates.head<3>()).norm();
    EXPECT_NEAR(at, 1.4 + 0.2 * 2.1,
                1e-6); // the parabola through 0, 0.3, 0.1 is highest 0.1 behind
}

TEST(Ladder, GoesOnWhereTheGuessFailsAndSaysWhatItFound) {
    if (!xtbIsHere()) GTEST_SKIP() << "libxtb is not installed";
    const auto &reaction = smallReactions[0];
    const auto good = inBohr(reaction.guess), onTop = inBohr({0, 0, 0, 0, 0, 0.01, 0, 1.1, 0.3});
    struct Row {
        const char *name;
        Eigen::VectorXd guess;
        int attempts;
        const char *outcome;
        std::vector<std::string> starts;
        const char *reason;
    };
    const Row rows[] = {
        {"good", good, 3, "verified", {"guess"}, ""},
        {"no way on", onTop, 1, "failed", {"guess"}, "angstrom apart"},
        {"path between the sides", onTop, 3, "verified", {"guess", "scan"}, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const auto surface = xtbSurface({reaction.elements, 0, 0});
        ReactionSides sides(*surface, {inBohr(reaction.reactant), reaction.before},
                            {inBohr(reaction.product), reaction.after});
        LadderOptions options;
        options.attempts = row.attempts;
        const auto report =
            climbLadder(*surface, {{"guess", row.guess}, {"lengths", good}}, sides, options);
        EXPECT_EQ(outcomeWords(report), row.outcome);
        EXPECT_NE(report.reason.find(row.reason), std::string::npos) << report.reason;
        std::vector<std::string> starts;
        for (const auto &attempt : report.attempts)
            starts.push_back(attempt.start);
        EXPECT_EQ(starts, row.starts);
    }
}

TEST(Ladder, TellsASaddleOfAnotherReaction) {
    if (!xtbIsHere()) GTEST_SKIP() << "libxtb is not installed";
    // The saddle to HNC, asked for as if hydrogen were to leave.
    const auto &reaction = smallReactions[0];
    const auto surface = xtbSurface({reaction.elements, 0, 0});
    ReactionSides sides(*surface, {inBohr(reaction.reactant), reaction.before},
                        {inBohr({0, 0, 0, 0, 0, 1.17, 0, 0, 6}), {{0, 1}}});
    LadderOptions options;
    options.attempts = 1;
    options.steps = 1;
    const auto report = climbLadder(*surface, {{"guess", inBohr(reaction.guess)}}, sides, options);
    EXPECT_EQ(outcomeWords(report), "other ends");
    EXPECT_EQ(report.shown().result.endThatIs(Side::reactant), 0);
    EXPECT_EQ(report.shown().result.ends[1].bonds, reaction.after);
}

TEST(Ladder, GoesOverAnIntermediate) {
    if (!xtbIsHere()) GTEST_SKIP() << "libxtb is not installed";
    // Hydroxycarbene to carbon monoxide and hydrogen, which goes over formaldehyde; searched for
    // from near the saddle between those two.
    const auto &reaction = smallReactions[1];
    const auto surface = xtbSurface({reaction.elements, 0, 0});
    ReactionSides sides(*surface, {inBohr(reaction.product), reaction.after},
                        {inBohr({0, 0, 0, 0, 0, 1.13, 0, 0.4, -3, 0, -0.4, -3}), {{0, 1}, {2, 3}}});
    LadderOptions options;
    options.attempts = 1;
    const auto report = climbLadder(*surface, {{"guess", inBohr(reaction.guess)}}, sides, options);
    EXPECT_EQ(outcomeWords(report), "verified in 2 steps");
    ASSERT_EQ(report.route.size(), 2u);
    const auto &first = report.attempts[report.route[0]].result;
    const auto &last = report.attempts[report.route[1]].result;
    EXPECT_NEAR(first.saddle.vibrations.wavenumbers[0], reaction.wavenumber, 5.0);
    EXPECT_EQ(last.ends[0].bonds, reaction.before); // formaldehyde, where it begins
    EXPECT_EQ(last.ends[1].bonds, BondGraph({{0, 1}, {2, 3}}));
    EXPECT_GT(report.depth * kcalPerHartree, 25.0);
    EXPECT_NE(report.reason.find("compound of its own"), std::string::npos);
}

/// A hill, a pass or a valley in two dimensions.
class Quadric final : public EnergySurface {
public:
    explicit Quadric(Eigen::Vector2d curvatures)
        : EnergySurface(Species{}), curvatures_(curvatures) {}
    std::string level() const override { return "analytic"; }

private:
    Evaluation evaluate(const Eigen::VectorXd &r) override {
        return {0.5 * r.dot(curvatures_.cwiseProduct(r)), curvatures_.cwiseProduct(r)};
    }
    Eigen::Vector2d curvatures_;
};

TEST(IntrinsicPath, GoesDownTheGradientToBothMinima) {
    // Over the lower of the published saddles; see above.
    MuellerBrown surface;
    const auto saddle =
        findFirstOrder(surface, {Eigen::Vector2d(0.3, 0.35), {}, {}}, anyDirection, {});
    PathOptions options;
    options.step = 0.02;
    const auto path = intrinsicPath(surface, saddle.coordinates, saddle.hessian, options);
    auto first = path.front().coordinates, last = path.back().coordinates;
    if (first[0] > last[0]) std::swap(first, last);
    EXPECT_LT((first - Eigen::Vector2d(-0.050, 0.467)).norm(), 0.03);
    EXPECT_LT((last - Eigen::Vector2d(0.623, 0.028)).norm(), 0.03);
    for (std::size_t i = 2; i + 2 < path.size(); ++i) {
        const auto value = surface.at(path[i].coordinates);
        EXPECT_NEAR(path[i].energy, value.energy, 1e-5);
        if (std::abs(path[i].arc) < 0.05 || value.gradient.norm() < 0.02) continue;
        const Eigen::VectorXd way = path[i + 1].coordinates - path[i - 1].coordinates;
        EXPECT_GT(std::abs(way.normalized().dot(value.gradient.normalized())), 0.995)
            << path[i].arc;
    }
}

TEST(Verification, CountsModesWhereThereIsNoGradient) {
    struct Row {
        Eigen::Vector2d curvatures, at;
        const char *outcome, *reason;
    };
    const Row rows[] = {
        {{-0.1, -0.2}, {0, 0}, "higher order", "more than one"},
        {{0.1, 0.2}, {0, 0}, "not converged", "no imaginary mode"},
        {{-0.1, 0.2}, {0, 0.1}, "not converged", "0.02000 hartree"},
    };
    for (const auto &row : rows) {
        Quadric surface(row.curvatures);
        const auto report = reportOf({"guess", judged(surface, row.at, nullptr)});
        EXPECT_EQ(outcomeWords(report), row.outcome);
        EXPECT_NE(report.reason.find(row.reason), std::string::npos) << report.reason;
    }
}

TEST(Verification, TellsTheReactionWhereNoneIsGiven) {
    if (!xtbIsHere()) GTEST_SKIP() << "libxtb is not installed";
    for (const auto &reaction : smallReactions) {
        SCOPED_TRACE(reaction.name);
        const auto surface = xtbSurface({reaction.elements, 0, 0});
        const auto found =
            attemptFrom(*surface, {inBohr(reaction.guess), {}, {}}, anyDirection, nullptr);
        ASSERT_EQ(nameOf(found.outcome), std::string("verified")) << found.reason;
        const auto again = judged(*surface, found.saddle.coordinates, nullptr);
        EXPECT_EQ(nameOf(again.outcome), std::string("verified"));
        const std::set<BondGraph> ends{again.ends[0].bonds, again.ends[1].bonds};
        EXPECT_EQ(ends, std::set({reaction.before, reaction.after}));
        EXPECT_NEAR(again.modeShare, found.modeShare, 1e-6);

        AttemptOptions hasty;
        hasty.search.mostSteps = 2;
        const auto report =
            reportOf({"guess", attemptFrom(*surface, {inBohr(reaction.reactant), {}, {}},
                                           anyDirection, nullptr, hasty)});
        EXPECT_EQ(outcomeWords(report), "not converged");
    }
}

TEST(XtbSurface, HasTheGradientOfItsEnergy) {
    if (!xtbIsHere()) GTEST_SKIP() << "libxtb is not installed";
    const Eigen::VectorXd x = inBohr({0, 0, 0, 0.05, 0, 1.2, 0, 0.95, -0.55, 0, -0.9, -0.6});
    for (const auto method : {XtbMethod::gfn2, XtbMethod::gfn1}) {
        const auto surface = xtbSurface({{6, 8, 1, 1}, 0, 0}, method);
        const auto gradient = surface->at(x).gradient;
        for (const Eigen::Index i : {0, 5, 10}) {
            const Eigen::VectorXd h = 1e-3 * Eigen::VectorXd::Unit(x.size(), i);
            const double slope = (surface->at(x + h).energy - surface->at(x - h).energy) / 2e-3;
            EXPECT_NEAR(gradient[i], slope, 1e-5) << nameOf(method) << ' ' << i;
        }
    }
}

TEST(XtbSurface, RefusesWhatTheLibraryWouldNotSurvive) {
    if (!xtbIsHere()) GTEST_SKIP() << "libxtb is not installed";
    struct Row {
        const char *name;
        Species species;
        std::vector<double> coordinates;
        ErrorKind kind;
        const char *said;
    };
    const std::vector<double> apart{0, 0, 0, 0, 0, 0.75};
    const Row rows[] = {
        {"uranium", {{92, 1}, 0, 0}, apart, ErrorKind::input, "element 92"},
        {"dummy atom", {{0, 1}, 0, 1}, apart, ErrorKind::input, "element 0"},
        {"no atoms", {{}, 0, 0}, {}, ErrorKind::input, "no atoms"},
        {"odd electrons", {{1, 1}, 1, 0}, apart, ErrorKind::input, "charge of 1"},
        {"more unpaired than there are", {{1, 1}, 0, 4}, apart, ErrorKind::input, "4"},
        {"negative spin", {{1, 1}, 0, -2}, apart, ErrorKind::input, "-2"},
        {"no electrons", {{1, 1}, 2, 0}, apart, ErrorKind::input, "0 electrons"},
        {"one place", {{1, 1}, 0, 0}, {0, 0, 0, 0, 0, 0.005}, ErrorKind::input, "0.005"},
        {"no number", {{1, 1}, 0, 0}, {0, 0, 0, 0, 0, NAN}, ErrorKind::input, "number"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        try {
            xtbSurface(row.species)->at(inBohr(row.coordinates));
            ADD_FAILURE() << "is accepted";
        } catch (const Error &error) {
            EXPECT_EQ(error.kind(), row.kind);
            EXPECT_NE(std::string(error.what()).find(row.said), std::string::npos) << error.what();
        }
    }
}

TEST(XtbSurface, SaysWhatToInstallWhereTheLibraryIsNone) {
    for (const char *library : {"libxtb-absent.so.6", "libm.so.6"}) {
        try {
            xtbSurface({{1, 1}, 0, 0}, XtbMethod::gfn2, library);
            ADD_FAILURE() << library;
        } catch (const Error &error) {
            EXPECT_EQ(error.kind(), ErrorKind::noProgram);
            EXPECT_NE(std::string(error.what()).find("install"), std::string::npos);
        }
    }
}

} // namespace
