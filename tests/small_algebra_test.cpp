// The library's own linear algebra beside the reference BLAS and LAPACK: bit for bit, alone and in
// whole superpositions and line searches.
#include "saddlefit/linesearch.h"
#include "saddlefit/superpose.h"

#include "superpose/small_algebra.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <dlfcn.h>
#include <limits>
#include <random>
#include <vector>

using namespace saddlefit;

namespace {

using Values = std::vector<double>;

/// The superposition, built to call the reference, and what it is linked to.
class Reference : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (*SADDLEFIT_BY_REFERENCE) library = dlopen(SADDLEFIT_BY_REFERENCE, RTLD_NOW);
    }
    void SetUp() override {
        if (!*SADDLEFIT_BY_REFERENCE)
            GTEST_SKIP() << "no reference BLAS and LAPACK here (Debian: libblas3, liblapack3)";
        ASSERT_NE(library, nullptr) << dlerror();
    }
    template <class Function> static Function *get(const char *name) {
        return reinterpret_cast<Function *>(dlsym(library, name));
    }
    static void *library;
    std::mt19937 engine{91};

    double uniform(double bound) {
        return std::uniform_real_distribution<double>(-bound, bound)(engine);
    }
    int below(int n) { return static_cast<int>(engine() % static_cast<unsigned>(n)); }

    /// Ordinary, small integers (ties and cancellation), badly scaled, or on the edge of a double.
    double value(int kind) {
        constexpr double odd[] = {0,       -0.0,    1,     5e-324, 2e-308,   1e-155, 2e-154,
                                  1.5e146, 2.5e146, 1e160, 1e308,  INFINITY, NAN};
        if (kind == 1) return below(5) - 2;
        if (kind == 2) return uniform(1) * std::pow(10, uniform(200));
        if (kind == 3) return odd[below(13)] * (below(2) ? 1 : -1);
        return uniform(3);
    }
    Values values(std::size_t n, int kind) {
        Values result(n);
        for (double &entry : result)
            entry = value(below(8) ? kind : 0);
        return result;
    }
};
void *Reference::library = nullptr;

/// Bits, but for the many faces of what is not a number.
std::vector<std::uint64_t> bits(const Values &values) {
    std::vector<std::uint64_t> result;
    for (const double value : values)
        result.push_back(std::bit_cast<std::uint64_t>(std::isnan(value) ? NAN : value));
    return result;
}

TEST_F(Reference, GivesTheDotsAndNorms) {
    const auto dot =
        get<double(const int *, const double *, const int *, const double *, const int *)>("ddot_");
    const auto norm = get<double(const int *, const double *, const int *)>("dnrm2_");
    ASSERT_TRUE(dot && norm);
    const int stride = 1;
    for (int round = 0; round < 20000; ++round) {
        const int n = below(24);
        const auto size = static_cast<std::size_t>(n);
        const Values x = values(size, round % 4), y = values(size, round / 4 % 4);
        ASSERT_EQ(bits({small::dot(n, x.data(), y.data())}),
                  bits({dot(&n, x.data(), &stride, y.data(), &stride)}));
        ASSERT_EQ(bits({small::norm(n, x.data())}), bits({norm(&n, x.data(), &stride)}));
    }
}

/// How many systems of each size were found singular by both.
template <int N> int compareSolutions(auto solveByReference, auto system) {
    int singular = 0;
    for (int round = 0; round < 10000; ++round) {
        auto [a, b] = system(std::size_t{N}, round);
        Values factors = a, solution = b;
        const int n = N, columns = 1;
        int pivots[N], status;
        solveByReference(&n, &columns, factors.data(), &n, pivots, solution.data(), &n, &status);
        EXPECT_EQ(small::LinearSystem<N>::solve(a.data(), b.data()), status == 0);
        EXPECT_EQ(bits(b), bits(solution)) << N << " equations, round " << round;
        singular += status != 0;
    }
    return singular;
}

TEST_F(Reference, SolvesTheSystems) {
    const auto solve = get<void(const int *, const int *, double *, const int *, int *, double *,
                                const int *, int *)>("dgesv_");
    ASSERT_TRUE(solve);
    const auto system = [this](std::size_t n, int round) {
        Values a = values(n * n, round % 4), b = values(n, round / 4 % 4);
        const std::size_t from = engine() % n, to = n * (engine() % n);
        if (round % 5 == 1) // two columns in proportion
            for (std::size_t i = 0; i < n; ++i)
                a[to + i] = 2 * a[n * from + i];
        if (round % 5 == 2) // the sparse coupling of a Hessian
            for (double &entry : a)
                entry *= below(2);
        if (round % 5 == 3) // rows out of scale
            for (std::size_t i = 0; i < n * n; ++i)
                a[i] = std::ldexp(a[i], static_cast<int>(i % n) * 180 - 540);
        return std::pair{a, b};
    };
    for (const int singular :
         {compareSolutions<2>(solve, system), compareSolutions<3>(solve, system),
          compareSolutions<5>(solve, system), compareSolutions<6>(solve, system)})
        EXPECT_TRUE(singular > 100 && singular < 9000) << singular;
}

TEST_F(Reference, LeadsToTheSameSuperpositions) {
    const auto superpose = get<decltype(doSuperR)>("doSuperR");
    ASSERT_TRUE(superpose);
    for (int round = 0; round < 3000; ++round) {
        const std::size_t n = 1 + engine() % 12;
        const double scale = round % 7 == 1 ? std::pow(10, uniform(150)) : 1;
        Values ref(3 * n), fit(3 * n), residuals(3 * n);
        for (std::size_t i = 0; i < 3 * n; ++i) {
            ref[i] = round % 7 == 2 && i % 3 ? 0 : scale * value(round % 7 == 3);
            fit[i] = ref[round % 7 == 4 ? i : 3 * n - 1 - i] + scale * uniform(0.3) * (i % 3 != 1);
        }
        if (round % 7 == 5) fit[0] = value(3);
        Values outcomes[2] = {Values(ALIGN_PARAMS), Values(ALIGN_PARAMS)};
        for (const bool own : {false, true}) {
            AlignMapState state = {static_cast<int>(n), ref.data(), fit.data(), residuals.data()};
            (own ? doSuperR : superpose)(&state, outcomes[own].data());
            outcomes[own].insert(outcomes[own].end(), residuals.begin(), residuals.end());
        }
        ASSERT_EQ(bits(outcomes[0]), bits(outcomes[1])) << round;
    }
}

void sumOfWaves(const int *n, const double *x, double *f, double *g, double *, int *, int *,
                const int *, int *, void *) {
    *f = 0;
    for (int i = 0; i < *n; ++i) {
        *f += std::sin(x[i] * (i + 1)) + x[i] * x[i] / 8;
        g[i] = std::cos(x[i] * (i + 1)) * (i + 1) + x[i] / 4;
    }
}

TEST_F(Reference, LeadsToTheSameLineSearches) {
    const auto search = get<decltype(mlines_)>("mlines_");
    const auto settings = get<Tn003>("tn003_");
    ASSERT_TRUE(search && settings);
    for (int round = 0; round < 5000; ++round) {
        tn003_ = *settings = {round % 2 ? 1e-10 : 0.3, 0.9, 1 + below(20)};
        const int n = 1 + below(20), flag = 1;
        const auto size = static_cast<std::size_t>(n);
        const Values start = values(size, 0), direction = values(size, round % 4);
        const double firstStep = std::pow(10, uniform(4));
        Values outcomes[2];
        for (const bool own : {false, true}) {
            Values x = start, s = direction, g(size), wa(size);
            double f, step = firstStep;
            int info = 99, evaluations;
            sumOfWaves(&n, x.data(), &f, g.data(), nullptr, nullptr, nullptr, &flag, nullptr,
                       nullptr);
            (own ? mlines_ : search)(&n, x.data(), &f, g.data(), s.data(), &step, &info, wa.data(),
                                     &evaluations, &flag, nullptr, sumOfWaves, mvX, calcGdir);
            for (const Values &part : {x, g, s, Values{f, step, 1. * info, 1. * evaluations}})
                outcomes[own].insert(outcomes[own].end(), part.begin(), part.end());
        }
        ASSERT_EQ(bits(outcomes[0]), bits(outcomes[1])) << round;
    }
}

} // namespace
