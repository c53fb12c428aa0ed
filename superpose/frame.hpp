/// Rigid motions of the alignment, beneath the public transforms.
#pragma once

#include <cmath>

namespace saddlefit {

/// Sines and cosines of the angles about x, y and z.
struct AngleTerms {
    AngleTerms(double a, double b, double c)
        : sa(std::sin(a)),
          ca(std::cos(a)),
          sb(std::sin(b)),
          cb(std::cos(b)),
          sc(std::sin(c)),
          cc(std::cos(c)) {}
    double sa, ca, sb, cb, sc, cc;
};

/// The row-major transform of Trans4().
void buildTransform(double *m, const AngleTerms &angles, const double *translation);

/// The column-major transform of an AlignParams block: frame first, then fitted motion.
void buildAlignMatrix(double *matrix, const double *params);

} // namespace saddlefit
