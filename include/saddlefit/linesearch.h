/**
 * @file
 * A safeguarded line search: given a point, a gradient and a direction, find a step along it that
 * lowers the function enough and flattens its slope enough.
 *
 *     f |*                      finit, slope dginit < 0
 *       | *          . '        sufficient decrease   f(stp) <= finit + ftol stp dginit
 *       |   *     .*            strong curvature      |slope(stp)| <= -gtol dginit
 *       |      *  *
 *       +------|---|----> stp   stx = best step so far, sty = other end of the interval
 *             stx sty
 *
 * Every argument goes by address, as numerical routines expect; vectors are contiguous arrays of n
 * doubles. Settings come from tn003_, which setlis_() fills: call it before the first search.
 * tn003_ and the working storage of a search belong to the process: one search at a time.
 *
 * Source of the method: J. J. Moré and D. J. Thuente, "Line search algorithms with guaranteed
 * sufficient decrease", ACM Trans. Math. Softw. 20 (1994) 286-307.
 */
#ifndef SADDLEFIT_LINESEARCH_H
#define SADDLEFIT_LINESEARCH_H

#include "saddlefit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- settings ------------------------------------------------------------------------------- */

/** Two integers that setlis_() sets to 6 and 0 and nothing reads. */
struct Tn001 {
    int first, second;
};

/** The settings of mlines_(). */
struct Tn003 {
    double ftol; /**< sufficient-decrease tolerance, 1e-10 */
    double gtol; /**< curvature tolerance, 0.9 */
    int maxfev;  /**< most evaluations of one search, 16 */
};

/** Machine constants of the last setlis_(), which nothing reads. */
struct Tn006 {
    double eps;        /**< tnmach_(1) */
    double twoSqrtEps; /**< 2 sqrt(eps) */
    double sqrtN;      /**< square root of the number of variables */
};

/** Zero at load, as the two below; written by setlis_(), or by the host. */
extern SADDLEFIT_API struct Tn001 tn001_;
extern SADDLEFIT_API struct Tn003 tn003_; /**< read at every mlines_() */
extern SADDLEFIT_API struct Tn006 tn006_;

/**
 * Fill the settings of the numerical routines: the caller's two arrays and the three blocks above.
 *
 * @param n       Number of variables; if it is not positive, only tn001_.second is set, to 0.
 * @param iset    Receives 18 integers: 100n at 3 and 5, n at 4, 1 at 9, 11 and 15, 6 at 10, 20 at
 *                13, else 0.
 * @param rset    Receives 8 doubles: 1e-8, sqrt(eps), 0.5, 0.5, 1e-10, 1e-4, 0.9, 1e-7.
 * @param status  Receives -10.
 */
SADDLEFIT_API void setlis_(const int *n, int *iset, double *rset, int *status);

/**
 * Give a constant of the 80-bit extended format (64-bit significand).
 *
 * @param which  1 for eps, the smallest power of two that still changes 1 when added to it; 2 for
 *               the small safe number, 3 for the large one.
 * @return       1: 2^-63. 2: 0 and 3: infinity, for those two lie beyond the range of a double.
 *               Anything else: 0.
 */
SADDLEFIT_API double tnmach_(const int *which);

/* ---- the three routines that a search calls ------------------------------------------------- */

/**
 * The function: writes f[0] = f(x) and, as mode 1 and mode 33 both ask, its gradient g. h has room
 * for 36 doubles and is not to be written in these modes; auxA, auxB and auxC are the search's.
 * calcFGH() is one.
 */
typedef void (*LineSearchFcn)(const int *n, const double *x, double *f, double *g, double *h,
                              int *auxA, int *auxB, const int *mode, int *auxC, void *user);

/** The move: y = x + alpha d. mvX() is one. */
typedef void (*LineSearchMove)(const int *n, double *y, const double *x, const double *alpha,
                               const double *d, void *user);

/** The slope: g . d, the search having gone from start to current. calcGdir() is one. */
typedef double (*LineSearchSlope)(const int *n, const double *g, const double *d,
                                  const double *start, const double *current, void *user);

/* ---- searching ------------------------------------------------------------------------------ */

/**
 * Search along a direction for a step that meets both conditions.
 *
 * A direction that does not descend is repaired, or replaced by -g. When the search has to give up
 * it makes its last evaluation at the best step seen, unless that lies at a bound (1e-20 or 1e20).
 * While the function still falls steeply without a bracket, an acceptable step is not the end.
 *
 *     info                meaning
 *     1, 2                success; the last step came from case 1 or 2 of newstp_()
 *     3, 4                success after case 3 or 4, bracketed
 *     5, 6                success after case 3 or 4, not bracketed
 *     7                   success at once, slope of changed sign; or no descent exists (g = 0)
 *     8                   success at once, slope of unchanged sign
 *     11 to 18            as 1 to 8, along -g instead of the direction given
 *     0, 10               success at the best step after newstp_() refused its input
 *     -2                  the bracket collapsed
 *     -3                  maxfev evaluations used
 *     -4, -5              at the lower, the upper bound of the step
 *     -6                  no progress for rounding errors, or newstp_() refused its input
 *     -12 to -16          as -2 to -6, back at the start (the step is 0)
 *
 * @param n      Number of variables.
 * @param x      Start point; becomes the last point evaluated.
 * @param f      f(x), before and after.
 * @param g      Gradient at x, before and after.
 * @param s      Direction; repaired in place where it does not descend.
 * @param stp    First trial step, positive; becomes the last step.
 * @param info   Receives the result. Invalid input (n < 1, stp not positive, a negative tolerance,
 *               maxfev < 1) leaves it, and everything but nfev, unchanged.
 * @param wa     Work array of n doubles; receives the start point.
 * @param nfev   Receives the number of evaluations.
 * @param flag   Other than 0: the function is called with mode 1; 0: with mode 33.
 * @param user   Handed to the three routines; may be NULL if they accept it.
 * @param fcn    Function and gradient.
 * @param move   Move along the direction.
 * @param slope  Slope along the direction.
 */
SADDLEFIT_API void mlines_(const int *n, double *x, double *f, double *g, double *s, double *stp,
                           int *info, double *wa, int *nfev, const int *flag, void *user,
                           LineSearchFcn fcn, LineSearchMove move, LineSearchSlope slope);

/**
 * Compute the next trial step and update the interval that holds a minimum.
 *
 * Cubic and quadratic interpolation in four cases: 1 higher function value; 2 slope of opposite
 * sign; 3 slope of the same sign, less steep; 4 slope of the same sign, not less steep.
 *
 * @param stx,fx,dx      Best step so far, with value and slope; updated.
 * @param sty,fy,dy      Other end of the interval; updated.
 * @param stp            Trial step; becomes the next one.
 * @param fp,dp          Value and slope at the trial step.
 * @param brackt         Bit 0: the ends bracket a minimum; set to 1 in cases 1 and 2.
 * @param stpmin,stpmax  Bounds of the next step.
 * @param info           Receives the case, 1 to 4; 0, and nothing else changes, if stp lies outside
 *                       the bracket, if dx does not point from stx to stp downhill, or if
 *                       stpmax < stpmin.
 */
SADDLEFIT_API void newstp_(double *stx, double *fx, double *dx, double *sty, double *fy, double *dy,
                           double *stp, const double *fp, const double *dp, int *brackt,
                           const double *stpmin, const double *stpmax, int *info);

#ifdef __cplusplus
}
#endif

#endif
