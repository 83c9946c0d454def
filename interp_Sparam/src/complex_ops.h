// Small complex helpers for the resampler, written out component by
// component (the product is the library's one complexMultiply).  The build
// forbids FMA contraction, so each expression rounds exactly as written
// here; the resampler's results are fixed to the bit by these evaluation
// orders.
#ifndef ZEFRA_INTERP_SPARAM_COMPLEX_OPS_H
#define ZEFRA_INTERP_SPARAM_COMPLEX_OPS_H

#include <cmath>
#include <limits>

#include "frame/complex.h"

namespace zefra::interp_sparam {

using zefra::Complex;
using zefra::complexMultiply;

// exp(j angle).  cos and sin come from the same argument, so the pair has
// unit modulus to within a couple of ulps for any finite angle.
inline Complex rotor(double angle) { return {std::cos(angle), std::sin(angle)}; }

// (1 - r) a + r b, each part as w*a + r*b with w = 1 - r.  For r in [0, 1]
// this is a convex combination, so |result| <= max(|a|, |b|) up to the
// rounding of w, the two products and the sum (a few ulps).
inline Complex lerp(Complex a, Complex b, double r) {
  const double w = 1.0 - r;
  return {w * a.re + r * b.re, w * a.im + r * b.im};
}

inline Complex complexNaN() {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  return {nan, nan};
}

}  // namespace zefra::interp_sparam

#endif  // ZEFRA_INTERP_SPARAM_COMPLEX_OPS_H
