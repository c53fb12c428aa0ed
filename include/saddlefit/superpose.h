/**
 * @file
 * Superposition: bring two molecules into one frame through a list of corresponding atoms.
 *
 *     reference  --select-->  ref[3n]   standard frame of the selected atoms
 *                                ^
 *                                |  n pairs, k-th to k-th; the fit minimises the summed squares
 *                                |
 *     molecule   --map----->  fit[3n]   its own standard frame, then turned and moved onto ref
 *
 * Standard frame of the points p0, p1, p2, ...: p0 at the origin, p1 on the positive x axis, p2 in
 * the xy plane with y >= 0. A point set of n points is an array of 3n doubles, x y z by point, in
 * angstrom; angles are in radians. Rotations are right-handed, R = Rx(a) Ry(b) Rz(c) acting on
 * column vectors.
 *
 * Matrices are 16 doubles in one of two layouts:
 *
 *     row-major      element (row r, column c) at 4r + c, translation at 3, 7, 11:
 *                    Trans4(), Trans4x3(), Mult4x4()
 *     column-major   element (row r, column c) at 4c + r, translation at 12, 13, 14: the matrices
 *                    that an alignment gives back, to be applied with V_Trans34d()
 *
 * The misfit of n pairs is sqrt(sum of squared distances) / n. This is not the root mean square:
 * two pairs left 1 apart have a misfit of 0.707.
 *
 * No function here reports an error. Points in one place, in a row or in a plane are aligned as
 * others are; where several motions fit equally well, one of them is found. Pairs at coordinates
 * that are not finite, or so large that their squares are not, have a misfit that is infinite or
 * not a number, and all atoms that are moved with them may end at no number; the iteration ends all
 * the same.
 *
 * The minimiser works with the process-wide storage of linesearch.h: one superposition at a time.
 */
#ifndef SADDLEFIT_SUPERPOSE_H
#define SADDLEFIT_SUPERPOSE_H

#include "saddlefit/export.h"
#include "saddlefit/molecule.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- records -------------------------------------------------------------------------------- */

/** Places in an AlignParams block: 15 doubles of the caller that an alignment fills. */
enum {
    ALIGN_FRAME_SHIFT = 0,    /**< 3: minus the first point last put into its standard frame */
    ALIGN_FRAME_ANGLES = 3,   /**< 3: the angles about x, y, z that follow */
    ALIGN_FIT_ANGLES = 6,     /**< 3: fitted angles about x, y, z */
    ALIGN_FIT_SHIFT = 9,      /**< 3: fitted translation */
    ALIGN_MISFIT = 12,        /**< misfit after the fit, angstrom */
    ALIGN_GRADIENT_NORM = 13, /**< norm of the last gradient; set only if the minimiser iterates */
    ALIGN_STEP_LENGTH = 14,   /**< length of the last step; set only if the minimiser iterates */
    ALIGN_PARAMS = 15         /**< size of the block */
};

/** What lives between alignMapStart() and alignMapEnd(). */
typedef struct AlignMapState {
    int count;     /**< n, the number of selected reference atoms */
    double *ref;   /**< 3n: the selected reference atoms in their standard frame; owned */
    double *fit;   /**< 3n: the corresponding atoms of the molecule being laid over them; owned */
    double *resid; /**< 3n: ref minus the moved fit, as of the last calcFGH(); owned */
} AlignMapState;

/* ---- aligning molecules --------------------------------------------------------------------- */

/**
 * Select the reference atoms and put them into their standard frame.
 *
 * @param ref     Reference molecule. Without `matrix` all its atoms move into the frame.
 * @param select  An entry per atom of `ref`; below -1 selects the atom.
 * @param matrix  Receives the transform into the frame (column-major), and `ref` stays where it
 *                is; may be NULL.
 * @param state   Receives the selected atoms; release it with alignMapEnd(). If no atom is selected
 *                or there is no memory, its count is 0, the transform is the identity, and nothing
 *                moves.
 * @param params  AlignParams block; 0 to 5 describe the frame, 6 to 12 become 0.
 */
SADDLEFIT_API void alignMapStart(Molecule *ref, const int *select, double *matrix,
                                 AlignMapState *state, double *params);

/**
 * Lay a molecule over the reference. May be called any number of times on one state.
 *
 * The entries of the map that name an atom, in order, are paired with the selected atoms in order;
 * what either has more than the other does not count.
 *
 * @param mol     Molecule. Without `matrix` all its atoms move.
 * @param map     Position in `mol` of the partner of each reference atom; an entry that names no
 *                atom of `mol` stands for none.
 * @param nmap    Number of entries of `map`.
 * @param matrix  Receives the transform, frame then fit (column-major), and `mol` stays where it
 *                is; may be NULL.
 * @param state   As alignMapStart() left it; `fit` and `resid` are overwritten.
 * @param params  AlignParams block; receives the molecule's frame and the fit.
 * @return        The misfit. 0 without a pair, and then the transform is the identity.
 */
SADDLEFIT_API double alignMapMol(Molecule *mol, const int *map, int nmap, double *matrix,
                                 AlignMapState *state, double *params);

/**
 * Release the arrays of an alignment.
 *
 * @param state  State; its arrays become NULL, its count stays. Twice is harmless.
 */
SADDLEFIT_API void alignMapEnd(AlignMapState *state);

/**
 * Align two molecules: alignMapStart(), alignMapMol() and alignMapEnd() in one.
 *
 * @param ref        Reference molecule. Without `refMatrix` it moves into the standard frame of its
 *                   mapped atoms.
 * @param mol        Molecule to be laid over it. Without `molMatrix` it moves.
 * @param map        An entry per atom of `ref`: position of the partner in `mol`; an entry that
 *                   names no atom of `mol` stands for none.
 * @param refMatrix  Receives the reference's transform (column-major); may be NULL.
 * @param molMatrix  Receives the molecule's transform (column-major); may be NULL.
 * @return           The misfit. 0 without a pair, and then nothing moves.
 */
SADDLEFIT_API double alignMapMols(Molecule *ref, Molecule *mol, const int *map, double *refMatrix,
                                  double *molMatrix);

/* ---- frames and transforms ------------------------------------------------------------------ */

/**
 * Build a rigid motion: p goes to Rx(a) Ry(b) Rz(c) p + (tx, ty, tz).
 *
 * @param M         Receives the transform, row-major.
 * @param tx,ty,tz  Translation.
 * @param a,b,c     Angles about x, y, z.
 */
SADDLEFIT_API void Trans4(double *M, double tx, double ty, double tz, double a, double b, double c);

/**
 * Apply a transform to a point.
 *
 * @param M  Transform, row-major; its last row is not read.
 * @param p  Point.
 * @param q  Receives the transformed point; may be `p`.
 */
SADDLEFIT_API void Trans4x3(const double *M, const double *p, double *q);

/**
 * Multiply two transforms.
 *
 * @param A,B  Transforms, row-major.
 * @param C    Receives A B: for column vectors, B first. Not `A` or `B`.
 */
SADDLEFIT_API void Mult4x4(const double *A, const double *B, double *C);

/**
 * Move points into their standard frame: v goes to Rx(a) Ry(b) Rz(c) (v + t).
 *
 * @param coords  n points, moved in place. One point is only translated; two leave the angle about
 *                x at 0, as do three on a line.
 * @param n       Number of points; below 1 the frame is the identity.
 * @param params  AlignParams block; t goes to 0 to 2, and a, b, c to 3 to 5.
 */
SADDLEFIT_API void align_mol(double *coords, int n, double *params);

/* ---- the fit -------------------------------------------------------------------------------- */

/**
 * Compute the objective of a superposition: F = half the summed squared pair distances, with its
 * derivatives by three angles and a translation.
 *
 * Gradient, rotation block and translation block are exact. Of the block that couples angles and
 * translation, only the entries (1, 4) and (2, 5) are filled: an approximation on purpose, which
 * the minimiser's path depends on.
 *
 * @param n               Not read: there are always six variables.
 * @param x               Angles about x, y, z, then the translation.
 * @param f               Two doubles: receives F and, with the gradient, its squared norm.
 * @param g               Receives 6 doubles from mode 1 on; not touched in mode 0.
 * @param h               Receives 36 doubles, symmetric, from mode 2 on; else not touched.
 * @param auxA,auxB,auxC  Not read.
 * @param mode            Its low three bits: 0 for F, 1 for F and g, 2 and above for F, g and h.
 * @param state           An AlignMapState; `resid` receives ref minus moved fit. With a count of 0
 *                        its arrays may be NULL, and F and g are 0.
 */
SADDLEFIT_API void calcFGH(const int *n, const double *x, double *f, double *g, double *h,
                           int *auxA, int *auxB, const int *mode, int *auxC, void *state);

/**
 * Compute the slope along a direction, for the line search.
 *
 * @param n                    Number of variables.
 * @param g                    Gradient.
 * @param d                    Direction.
 * @param start,current,state  Not read.
 * @return                     g . d; 0 if n is below 1.
 */
SADDLEFIT_API double calcGdir(const int *n, const double *g, const double *d, const double *start,
                              const double *current, void *state);

/**
 * Move along a direction, for the line search: y = x + alpha d.
 *
 * @param n      Number of variables.
 * @param y      Receives the moved point; may be `x`.
 * @param x      Point.
 * @param alpha  Step.
 * @param d      Direction.
 * @param state  Not read.
 */
SADDLEFIT_API void mvX(const int *n, double *y, const double *x, const double *alpha,
                       const double *d, void *state);

/**
 * Find the rigid motion that lays `fit` onto `ref` with the least squares.
 *
 * Newton steps from the identity, each fourth one of steepest descent, at most 100. It finds a
 * local minimum: both sets are expected in their standard frames.
 *
 * @param state   Pairs; `resid` is overwritten.
 * @param params  AlignParams block; 12 always receives the misfit, 6 to 11, 13 and 14 receive the
 *                motion, the gradient norm and the step length unless the points fit already.
 */
SADDLEFIT_API void doSuperR(AlignMapState *state, double *params);

#ifdef __cplusplus
}
#endif

#endif
