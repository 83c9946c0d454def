// Complex: the library's complex number (the public zefra_complex, real part
// then imaginary part), and the point-wise arithmetic every kernel and the
// sibling module use.
//
// Every product and quotient is written out so that its rounding, its
// signed zeros and its propagation of infinities and NaNs are fixed (the
// build forbids contraction into fused multiply-adds):
//   a * b = (a.re*b.re - a.im*b.im, a.re*b.im + a.im*b.re)
// Division is scaled so that no intermediate product overflows, and takes
// exact shortcuts when a part of the divisor (or of the dividend) is zero.
// A part "is zero" when it compares equal to 0.0: -0.0 is zero, NaN is not.
#pragma once

#include <cmath>

#include "zefra/zefra_complex.h"

namespace zefra {

using Complex = zefra_complex;

inline Complex complexMultiply(Complex a, Complex b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// x * x: the two cross products are formed separately and then added.
inline Complex complexSquare(Complex x) { return complexMultiply(x, x); }

// a / b.
inline Complex complexDivide(Complex a, Complex b) {
  if (b.im == 0.0) {
    // Real divisor: each part divides on its own; a zero part stays +0.
    if (a.im == 0.0) {
      return {a.re / b.re, 0.0};
    }
    if (a.re == 0.0) {
      return {0.0, a.im / b.re};
    }
    return {a.re / b.re, a.im / b.re};
  }
  if (b.re == 0.0) {
    // Purely imaginary divisor: (ar + j ai) / (j bi) = ai/bi - j ar/bi.
    if (a.re == 0.0) {
      return {a.im / b.im, 0.0};
    }
    if (a.im == 0.0) {
      return {0.0, -(a.re / b.im)};
    }
    return {a.im / b.im, -(a.re / b.im)};
  }
  const double absRe = std::fabs(b.re);
  const double absIm = std::fabs(b.im);
  if (absRe > absIm) {
    const double r = b.im / b.re;
    const double d = r * b.im + b.re;
    return {(r * a.im + a.re) / d, (a.im - r * a.re) / d};
  }
  if (absIm != absRe) {
    const double r = b.re / b.im;
    const double d = r * b.re + b.im;
    return {(r * a.re + a.im) / d, (r * a.im - a.re) / d};
  }
  // |br| = |bi|: scale by the signs only (r would be exactly +-1) and divide
  // by |br| once, which cannot overflow even near the largest doubles.
  const double sr = b.re > 0.0 ? 0.5 : -0.5;
  const double si = b.im > 0.0 ? 0.5 : -0.5;
  return {(a.re * sr + a.im * si) / absRe, (a.im * sr - a.re * si) / absRe};
}

// 2 / x, the division above specialised to the dividend 2 + 0j.  The
// products with 0 are kept: they turn an infinite or NaN ratio into NaN
// exactly as the general division does.
inline Complex twoOverComplex(Complex x) {
  if (x.im == 0.0) {
    return {2.0 / x.re, 0.0};
  }
  if (x.re != 0.0) {
    const double absRe = std::fabs(x.re);
    const double absIm = std::fabs(x.im);
    if (absRe > absIm) {
      const double r = x.im / x.re;
      const double d = r * x.im + x.re;
      return {(r * 0.0 + 2.0) / d, (0.0 - 2.0 * r) / d};
    }
    if (absIm != absRe) {
      const double r = x.re / x.im;
      const double d = r * x.re + x.im;
      return {(r + r) / d, (r * 0.0 - 2.0) / d};
    }
    const double sr = x.re > 0.0 ? 0.5 : -0.5;
    const double si = x.im > 0.0 ? 0.5 : -0.5;
    return {(sr + sr + si * 0.0) / absRe, (sr * 0.0 - (si + si)) / absRe};
  }
  return {0.0, -(2.0 / x.im)};
}

}  // namespace zefra
