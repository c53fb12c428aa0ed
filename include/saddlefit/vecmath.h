/**
 * @file
 * Vectors, 3x3 and 4x4 matrices, and an emulation of the classic graphics matrix calls.
 *
 *     vector   x y z              3 values
 *     3x3      element (row r, column c) at 3r + c          9 values
 *     4x4      element (row r, column c) at 4r + c         16 values
 *
 *                  |  rotation   0 |      0  1  2  3
 *                  |    and      0 |      4  5  6  7
 *                  |   scale     0 |      8  9 10 11
 *                  |  x   y   z  1 |     12 13 14 15
 *
 * Vectors are rows and stand on the left: v' = v M, p' = (p, 1) M; A B applies A first. The same 16
 * values read as a column-major matrix for column vectors describe the same arithmetic with every
 * product turned round.
 *
 * Every operation comes twice: in single precision, and in double precision with a `d` behind its
 * name. A comment holds for both. The single-precision member computes in single precision
 * throughout; a scalar result is widened to double at the end.
 *
 * Angles are in radians. Arrays are the caller's, none may be NULL, and a result must not share
 * storage with an argument unless its comment allows it. Nothing here allocates, keeps state or
 * fails other than by the results stated.
 */
#ifndef SADDLEFIT_VECMATH_H
#define SADDLEFIT_VECMATH_H

#include "saddlefit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- arithmetic ----------------------------------------------------------------------------- */

/**
 * Add two vectors.
 *
 * @param a,b  Vectors.
 * @param out  Receives a + b; may be `a` or `b`.
 */
SADDLEFIT_API void V_Add(const float *a, const float *b, float *out);
SADDLEFIT_API void V_Addd(const double *a, const double *b, double *out);

/**
 * Subtract a vector from another.
 *
 * @param a,b  Vectors.
 * @param out  Receives a - b; may be `a` or `b`.
 */
SADDLEFIT_API void V_Sub(const float *a, const float *b, float *out);
SADDLEFIT_API void V_Subd(const double *a, const double *b, double *out);

/**
 * Multiply a vector by a number.
 *
 * @param s    Number.
 * @param v    Vector.
 * @param out  Receives s v; may be `v`.
 */
SADDLEFIT_API void V_Mult(float s, const float *v, float *out);
SADDLEFIT_API void V_Multd(double s, const double *v, double *out);

/**
 * Reverse a vector in place.
 *
 * @param v  Vector; becomes -v.
 */
SADDLEFIT_API void V_Neg(float *v);
SADDLEFIT_API void V_Negd(double *v);

/**
 * Compute the dot product of two vectors.
 *
 * @param a,b  Vectors.
 * @return     a . b.
 */
SADDLEFIT_API double V_Dot(const float *a, const float *b);
SADDLEFIT_API double V_Dotd(const double *a, const double *b);

/**
 * Compute the cross product of two vectors.
 *
 * @param a,b  Vectors.
 * @param out  Receives a x b, right-handed.
 */
SADDLEFIT_API void V_Cross(const float *a, const float *b, float *out);
SADDLEFIT_API void V_Crossd(const double *a, const double *b, double *out);

/* ---- lengths and distances ------------------------------------------------------------------ */

/**
 * Compute the length of a vector.
 *
 * @param v  Vector; its squares are summed as they are, so components beyond about 1e19 (1e154 in
 *           double precision) overflow.
 * @return   sqrt(v . v).
 */
SADDLEFIT_API double V_Mag(const float *v);
SADDLEFIT_API double V_Magd(const double *v);

/**
 * Compute the squared length of a vector.
 *
 * @param v  Vector.
 * @return   v . v.
 */
SADDLEFIT_API double V_SMag(const float *v);
SADDLEFIT_API double V_SMagd(const double *v);

/**
 * Compute the distance of two points.
 *
 * @param a,b  Points.
 * @return     The length of a - b.
 */
SADDLEFIT_API double V_Dist(const float *a, const float *b);
SADDLEFIT_API double V_Distd(const double *a, const double *b);

/**
 * Compute the squared distance of two points.
 *
 * @param a,b  Points.
 * @return     The squared length of a - b.
 */
SADDLEFIT_API double V_Distsq(const float *a, const float *b);
SADDLEFIT_API double V_Distsqd(const double *a, const double *b);

/**
 * Compute the signed distance of a point from a plane.
 *
 * @param p  Point.
 * @param q  Any point of the plane.
 * @param n  Normal of the plane, of any length; not changed.
 * @return   The distance, positive on the side that the normal points to; 0 for a zero normal.
 */
SADDLEFIT_API double V_DistPlane(const float *p, const float *q, const float *n);
SADDLEFIT_API double V_DistPlaned(const double *p, const double *q, const double *n);

/* ---- directions ----------------------------------------------------------------------------- */

/**
 * Scale a vector to unit length in place.
 *
 * Where a component exceeds 1000, all are divided by the largest one first.
 *
 * @param v  Vector; if it is shorter than 1e-12 it becomes zero.
 * @return   1; 0 if there is no direction.
 */
SADDLEFIT_API int V_Norm(float *v);
SADDLEFIT_API int V_Normd(double *v);

/**
 * Scale the equation of a plane or line so that its first three components have unit length.
 *
 * As V_Norm(), with the fourth component taking part in every division but in no length.
 *
 * @param v  Four values. All become 0 if the first three are shorter than 1e-12 without being zero;
 *           if those are zero, nothing changes.
 * @return   1; 0 if there is no direction.
 */
SADDLEFIT_API int V_Norm4(float *v);
SADDLEFIT_API int V_Norm4d(double *v);

/**
 * Scale a vector to unit length in place unless it is shorter than a threshold.
 *
 * @param v          Vector; becomes zero if its length is below the threshold or not a number.
 * @param threshold  Shortest length that counts; positive.
 * @return           1; 0 if the vector became zero.
 */
SADDLEFIT_API int V_Normt(float *v, float threshold);
SADDLEFIT_API int V_Normtd(double *v, double threshold);

/**
 * Compute the unit normal of the plane that two vectors span.
 *
 * @param a,b  Vectors.
 * @param out  Receives a x b scaled to unit length; zero if they are parallel.
 * @return     1; 0 if `out` is zero.
 */
SADDLEFIT_API int V_Normal(const float *a, const float *b, float *out);
SADDLEFIT_API int V_Normald(const double *a, const double *b, double *out);

/**
 * Find a unit vector perpendicular to another.
 *
 * @param v    Vector; not changed.
 * @param out  Receives the direction of x cross v; if v lies along x, of y cross v.
 * @return     1; 0 if `v` is zero, and then `out` is zero too.
 */
SADDLEFIT_API int V_Perp(const float *v, float *out);
SADDLEFIT_API int V_Perpd(const double *v, double *out);

/* ---- angles --------------------------------------------------------------------------------- */

/**
 * Compute the angle between two vectors as they are, without normalising them.
 *
 * @param a,b  Vectors of any length.
 * @return     0 to pi.
 */
SADDLEFIT_API double V_NAngle(const float *a, const float *b);
SADDLEFIT_API double V_NAngled(const double *a, const double *b);

/**
 * Compute the angle between two vectors from normalised copies.
 *
 * @param a,b  Vectors; not changed.
 * @return     0 to pi; 0 if either has no direction (see V_Norm()).
 */
SADDLEFIT_API double V_Angle(const float *a, const float *b);
SADDLEFIT_API double V_Angled(const double *a, const double *b);

/**
 * Compute the angle at a vertex, such as a bond angle.
 *
 * @param a,c  Points at the ends.
 * @param b    Point at the vertex.
 * @return     The angle a-b-c, 0 to pi; 0 if an end coincides with the vertex.
 */
SADDLEFIT_API double V_Angle3(const float *a, const float *b, const float *c);
SADDLEFIT_API double V_Angle3d(const double *a, const double *b, const double *c);

/**
 * Compute a dihedral angle.
 *
 * The two precisions count the sense of the turn oppositely: for a = (1, 0, 0), b = (0, 0, 0),
 * c = (0, 0, 1), d = (0, 1, 1) V_Dihedrald() gives pi/2 and V_Dihedral() gives -pi/2. Angles of 0
 * and pi are positive in both.
 *
 * @param a,b,c,d  Points; the angle is that between the planes a-b-c and b-c-d.
 * @return         Above -pi, up to pi.
 */
SADDLEFIT_API double V_Dihedral(const float *a, const float *b, const float *c, const float *d);
SADDLEFIT_API double V_Dihedrald(const double *a, const double *b, const double *c,
                                 const double *d);

/* ---- rotations ------------------------------------------------------------------------------ */

/**
 * Build the rotation about an axis.
 *
 * As a matrix for column vectors this is the right-handed rotation by +angle; applied to row
 * vectors it turns them by -angle, the other way round than V_RotateAxis3().
 *
 * @param out    Receives a 3x3 matrix.
 * @param angle  Radians.
 * @param axis   Unit vector; it is not normalised here.
 */
SADDLEFIT_API void V_RotateVector3(float *out, float angle, const float *axis);
SADDLEFIT_API void V_RotateVector3d(double *out, double angle, const double *axis);

/**
 * Build the rotation about an axis as a 4x4 matrix.
 *
 * @param out    Receives the matrix of V_RotateVector3() with row and column 3 of the identity.
 * @param angle  Radians.
 * @param axis   Unit vector.
 */
SADDLEFIT_API void V_RotateVector4(float *out, float angle, const float *axis);
SADDLEFIT_API void V_RotateVector4d(double *out, double angle, const double *axis);

/**
 * Build the rotation about a coordinate axis.
 *
 * Applied to row vectors it turns them by +angle by the right-hand rule: about 'z', x towards y.
 *
 * @param out    Receives a 3x3 matrix.
 * @param angle  Radians.
 * @param axis   'x', 'y' or 'z'; any other character gives the identity.
 */
SADDLEFIT_API void V_RotateAxis3(float *out, float angle, char axis);
SADDLEFIT_API void V_RotateAxis3d(double *out, double angle, char axis);

/**
 * Build the rotation about a coordinate axis as a 4x4 matrix.
 *
 * @param out    Receives the matrix of V_RotateAxis3() with row and column 3 of the identity.
 * @param angle  Radians.
 * @param axis   'x', 'y' or 'z'; any other character gives the identity.
 */
SADDLEFIT_API void V_RotateAxis4(float *out, float angle, char axis);
SADDLEFIT_API void V_RotateAxis4d(double *out, double angle, char axis);

/* ---- copies and conversions ----------------------------------------------------------------- */

/**
 * Copy a 3x3 matrix.
 *
 * @param destination  Receives 9 values.
 * @param source       Matrix.
 */
SADDLEFIT_API void V_SetMat3(float *destination, const float *source);
SADDLEFIT_API void V_SetMat3d(double *destination, const double *source);

/**
 * Copy a 4x4 matrix.
 *
 * @param destination  Receives 16 values.
 * @param source       Matrix.
 */
SADDLEFIT_API void V_SetMat4(float *destination, const float *source);
SADDLEFIT_API void V_SetMat4d(double *destination, const double *source);

/**
 * Convert a 3x3 matrix to the other precision. The source comes first.
 *
 * @param source       Matrix.
 * @param destination  Receives 9 values, rounded to nearest where they lose digits.
 */
SADDLEFIT_API void V_DtoFMat3(const double *source, float *destination);
SADDLEFIT_API void V_FtoDMat3(const float *source, double *destination);

/**
 * Convert a 4x4 matrix to the other precision. The source comes first.
 *
 * @param source       Matrix.
 * @param destination  Receives 16 values, rounded to nearest where they lose digits.
 */
SADDLEFIT_API void V_DtoFMat4(const double *source, float *destination);
SADDLEFIT_API void V_FtoDMat4(const float *source, double *destination);

/* ---- products and transposes ---------------------------------------------------------------- */

/**
 * Multiply two 3x3 matrices.
 *
 * @param A,B  Matrices.
 * @param C    Receives A B: the transform A, then B.
 */
SADDLEFIT_API void V_MultMat3(const float *A, const float *B, float *C);
SADDLEFIT_API void V_MultMat3d(const double *A, const double *B, double *C);

/**
 * Multiply two 4x4 matrices.
 *
 * @param A,B  Matrices.
 * @param C    Receives A B: the transform A, then B.
 */
SADDLEFIT_API void V_MultMat4(const float *A, const float *B, float *C);
SADDLEFIT_API void V_MultMat4d(const double *A, const double *B, double *C);

/**
 * Multiply a double-precision 4x4 matrix and a single-precision one.
 *
 * @param A  Matrix in double precision.
 * @param B  Matrix in single precision.
 * @param C  Receives A B, summed in double precision and rounded once.
 */
SADDLEFIT_API void V_MultMat4df(const double *A, const float *B, float *C);

/**
 * Transpose a 3x3 matrix.
 *
 * @param A  Matrix.
 * @param B  Receives the transpose; may be `A`.
 */
SADDLEFIT_API void V_Transpose33(const float *A, float *B);
SADDLEFIT_API void V_Transpose33d(const double *A, double *B);

/**
 * Transpose a 4x4 matrix.
 *
 * @param A  Matrix.
 * @param B  Receives the transpose; may be `A`.
 */
SADDLEFIT_API void V_Transpose44(const float *A, float *B);
SADDLEFIT_API void V_Transpose44d(const double *A, double *B);

/* ---- transforms ----------------------------------------------------------------------------- */

/**
 * Transform a vector by a 3x3 matrix.
 *
 * @param v    Vector.
 * @param M    3x3 matrix.
 * @param out  Receives v M; may be `v`.
 */
SADDLEFIT_API void V_Trans33(const float *v, const float *M, float *out);
SADDLEFIT_API void V_Trans33d(const double *v, const double *M, double *out);

/**
 * Transform a point by a 4x4 matrix.
 *
 * @param p    Point, three values.
 * @param M    4x4 matrix.
 * @param out  Receives the first three components of (p, 1) M, divided by the fourth, which is not
 *             tested for 0; may be `p`.
 */
SADDLEFIT_API void V_Trans34(const float *p, const float *M, float *out);
SADDLEFIT_API void V_Trans34d(const double *p, const double *M, double *out);

/**
 * Transform a homogeneous point by a 4x4 matrix.
 *
 * @param p    Point, four values.
 * @param M    4x4 matrix.
 * @param out  Receives p M divided by its fourth component, which is not tested for 0, and 1 in
 *             its place; may be `p`.
 */
SADDLEFIT_API void V_Trans44(const float *p, const float *M, float *out);
SADDLEFIT_API void V_Trans44d(const double *p, const double *M, double *out);

/**
 * Put a translation before a transform: M = T(x, y, z) M.
 *
 * @param M      4x4 matrix; its row 3 changes.
 * @param x,y,z  Translation, which the transform already in `M` turns and scales.
 */
SADDLEFIT_API void V_Translate4(float *M, float x, float y, float z);
SADDLEFIT_API void V_Translate4d(double *M, double x, double y, double z);

/* ---- graphics calls ------------------------------------------------------------------------- */

/*
 * The classic calls on a current matrix that the caller keeps. Each puts its transform before what
 * the matrix holds (M = X M), so that the call made last acts on the points first.
 */

/**
 * Set the current matrix to the identity.
 *
 * @param M  Receives 16 values.
 */
SADDLEFIT_API void V_EmLoadIdentity(float *M);
SADDLEFIT_API void V_EmLoadIdentityd(double *M);

/**
 * Set the current matrix.
 *
 * @param M  Receives 16 values.
 * @param A  4x4 matrix.
 */
SADDLEFIT_API void V_EmLoadmatrix(float *M, const float *A);
SADDLEFIT_API void V_EmLoadmatrixd(double *M, const double *A);

/**
 * Translate: the same as V_Translate4().
 *
 * @param M      Current matrix.
 * @param x,y,z  Translation.
 */
SADDLEFIT_API void V_EmTranslate(float *M, float x, float y, float z);
SADDLEFIT_API void V_EmTranslated(double *M, double x, double y, double z);

/**
 * Scale along the coordinate axes.
 *
 * @param M         Current matrix; its rows 0, 1 and 2 are multiplied, row 3 stays.
 * @param sx,sy,sz  Factors.
 */
SADDLEFIT_API void V_EmScale(float *M, float sx, float sy, float sz);
SADDLEFIT_API void V_EmScaled(double *M, double sx, double sy, double sz);

/**
 * Multiply by a matrix: M = A M.
 *
 * @param M  Current matrix.
 * @param A  4x4 matrix; may be `M`.
 */
SADDLEFIT_API void V_EmMultmatrix(float *M, const float *A);
SADDLEFIT_API void V_EmMultmatrixd(double *M, const double *A);

/**
 * Set the current matrix to the map from the cube -1 to 1 onto a window.
 *
 * x goes to x + (width - 1)/2 + px width/2, y likewise, and depth to 16776192 (pz - 1), where
 * 16776192 = 2^24 - 2^10. There is no single-precision member.
 *
 * @param M             Receives 16 values.
 * @param x,y           Lower left corner in pixels.
 * @param width,height  Size in pixels. width + 2x - 1 and height + 2y - 1 are formed as 32-bit
 *                      integers, which wrap around.
 */
SADDLEFIT_API void V_EmViewport(double *M, int x, int y, int width, int height);

#ifdef __cplusplus
}
#endif

#endif
