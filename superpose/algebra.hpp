/// The linear algebra that the superposition was built with.
#pragma once

#ifdef SADDLEFIT_USE_BLAS
#include "superpose/blas.hpp"
#else
#include "superpose/small_algebra.hpp"
#endif

namespace saddlefit {

#ifdef SADDLEFIT_USE_BLAS
namespace algebra = blas;
#else
namespace algebra = small;
#endif

} // namespace saddlefit
