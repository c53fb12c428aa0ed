/// Linear algebra of the few sizes that a superposition needs.
///
/// The digits of a superposition are those that the reference BLAS and LAPACK 3.11 give: each
/// function performs the same operations in the same order as the routine that it names. Only the
/// sign of what is not a number is left open, as it is there.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace saddlefit::small {

/// As ddot does: the products are summed up from the first to the last.
inline double dot(int n, const double *x, const double *y) {
    double sum = 0;
    for (int i = 0; i < n; ++i)
        sum += x[i] * y[i];
    return sum;
}

/// A sum of squares in three accumulators, so that neither large nor small values leave the range
/// of a double (J. L. Blue, ACM Trans. Math. Softw. 4 (1978) 15-23, with the constants of
/// E. Anderson, Algorithm 978, ACM Trans. Math. Softw. 44 (2017) 12).
class SquareSum {
public:
    void add(double value) {
        const double size = std::abs(value);
        if (size > largest)
            large_ += (size * shrink) * (size * shrink);
        else if (size < smallest)
            small_ += (size * grow) * (size * grow);
        else
            medium_ += value * value;
    }

    double root() const {
        if (large_ > 0) return std::sqrt(largeAndMedium()) / shrink;
        if (!(small_ > 0)) return std::sqrt(medium_);
        return mediumCounts() ? rootOfSmallAndMedium() : std::sqrt(small_) / grow;
    }

private:
    static constexpr double largest = 0x1p486, smallest = 0x1p-511;
    static constexpr double shrink = 0x1p-538, grow = 0x1p537;

    bool mediumCounts() const { return medium_ > 0 || std::isnan(medium_); }

    double largeAndMedium() const {
        return mediumCounts() ? large_ + (medium_ * shrink) * shrink : large_;
    }

    double rootOfSmallAndMedium() const {
        const double medium = std::sqrt(medium_), small = std::sqrt(small_) / grow;
        const double upper = small > medium ? small : medium;
        const double lower = small > medium ? medium : small;
        const double ratio = lower / upper;
        return std::sqrt(upper * upper * (1 + ratio * ratio));
    }

    double large_ = 0, medium_ = 0, small_ = 0;
};

/// The Euclidean norm, as dnrm2 forms it.
inline double norm(int n, const double *x) {
    SquareSum squares;
    for (int i = 0; i < n; ++i)
        squares.add(x[i]);
    return squares.root();
}

/// Systems of N equations. Matrices are stored by columns, N entries apart, also where only a block
/// of one is at work.
template <int N> class LinearSystem {
public:
    /// Solve A x = b as dgesv does; x takes the place of b, and A is spoiled. False, and b as it
    /// was, if a pivot is 0.
    static bool solve(double *a, double *b) {
        int pivots[N];
        if (!factorise<N, N>(a, pivots)) return false;
        exchangeRows<N, 1>(b, pivots);
        solveUnitLower<N, 1>(a, b);
        solveUpper(a, b);
        return true;
    }

private:
    /// Below this, the inverse of a pivot may leave the range of a double.
    static constexpr double leastInvertible = std::numeric_limits<double>::min();

    /// Factors with partial pivoting, as dgetrf2 finds them: the left half of the columns, then
    /// what they leave of the right half (S. Toledo, SIAM J. Matrix Anal. Appl. 18 (1997)
    /// 1065-1081). False as soon as a pivot is 0.
    template <int Rows, int Columns> static bool factorise(double *a, int *pivots) {
        if constexpr (Columns == 1) {
            return factoriseColumn<Rows>(a, pivots);
        } else {
            constexpr int left = std::min(Rows, Columns) / 2, right = Columns - left;
            double *above = a + left * N;
            if (!factorise<Rows, left>(a, pivots)) return false;
            exchangeRows<left, right>(above, pivots);
            solveUnitLower<left, right>(a, above);
            subtractProduct<Rows - left, left, right>(a + left, above, above + left);
            if (!factorise<Rows - left, right>(above + left, pivots + left)) return false;
            exchangeRows<std::min(Rows - left, right), left>(a + left, pivots + left);
            for (int i = left; i < std::min(Rows, Columns); ++i)
                pivots[i] += left;
            return true;
        }
    }

    template <int Rows> static bool factoriseColumn(double *column, int *pivot) {
        *pivot = largestOf<Rows>(column);
        if (column[*pivot] == 0) return false;
        std::swap(column[0], column[*pivot]);
        divide<Rows>(column);
        return true;
    }

    /// Divide the entries below the pivot by it.
    template <int Rows> static void divide(double *column) {
        const double pivot = column[0];
        if (std::abs(pivot) >= leastInvertible) {
            const double inverse = 1 / pivot;
            for (int row = 1; row < Rows; ++row)
                column[row] *= inverse;
        } else {
            for (int row = 1; row < Rows; ++row)
                column[row] /= pivot;
        }
    }

    /// Where the first of the entries of greatest size stands.
    template <int Rows> static int largestOf(const double *column) {
        int place = 0;
        for (int row = 1; row < Rows; ++row)
            if (std::abs(column[row]) > std::abs(column[place])) place = row;
        return place;
    }

    /// Row i changes places with row pivots[i], for i from 0 on.
    template <int Pivots, int Columns> static void exchangeRows(double *b, const int *pivots) {
        for (int row = 0; row < Pivots; ++row)
            if (pivots[row] != row)
                for (int column = 0; column < Columns; ++column)
                    std::swap(b[row + N * column], b[pivots[row] + N * column]);
    }

    /// Solve L X = B in place for a lower triangle with ones on the diagonal, as dtrsm does. What
    /// is 0 does not meet the entries of L, even if they are infinite.
    template <int Rows, int Columns> static void solveUnitLower(const double *l, double *b) {
        for (int column = 0; column < Columns; ++column, b += N)
            for (int k = 0; k < Rows; ++k) {
                if (b[k] == 0) continue;
                for (int row = k + 1; row < Rows; ++row)
                    b[row] -= b[k] * l[row + N * k];
            }
    }

    /// Solve U x = b in place, as dtrsm does.
    static void solveUpper(const double *u, double *b) {
        for (int k = N - 1; k >= 0; --k) {
            if (b[k] == 0) continue;
            b[k] /= u[k + N * k];
            for (int row = 0; row < k; ++row)
                b[row] -= b[k] * u[row + N * k];
        }
    }

    /// C -= A B, as dgemm does.
    template <int Rows, int Inner, int Columns>
    static void subtractProduct(const double *a, const double *b, double *c) {
        for (int column = 0; column < Columns; ++column, b += N, c += N)
            for (int k = 0; k < Inner; ++k)
                for (int row = 0; row < Rows; ++row)
                    c[row] -= b[k] * a[row + N * k];
    }
};

} // namespace saddlefit::small
