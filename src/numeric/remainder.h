// Floored remainder with a non-integer divisor, snapping near-multiples to
// zero: q = v / m, r = q rounded half away from zero (q itself once
// |q| >= 2^52, where every double is an integer); |q - r| <= 2^-52 |q|
// gives 0.0, anything else (q - floor(q)) * m.  The result has the sign of
// m.  Shared by mod and the 2 pi reduction of unwrap.
#pragma once

#include <cmath>

namespace zefra {

inline double snappedRemainder(double v, double m) {
  const double q = v / m;
  double r = q;
  if (std::fabs(q) < 4503599627370496.0) {  // 2^52
    if (q >= 0.5) {
      r = std::floor(q + 0.5);
    } else if (q > -0.5) {
      r = q * 0.0;  // a zero carrying the sign of q
    } else {
      r = std::ceil(q - 0.5);
    }
  }
  if (std::fabs(q - r) <= 2.220446049250313e-16 * std::fabs(q)) {
    return 0.0;
  }
  return (q - std::floor(q)) * m;
}

}  // namespace zefra
