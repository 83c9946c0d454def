// Euclidean norm of n consecutive doubles without overflow or underflow.
//
// The running state is (scale, sum) with norm = scale * sqrt(sum) and every
// scaled square t / scale <= 1.  scale starts at the smallest normal double
// (0x0010000000000000); an element larger than the scale rescales the sum:
//   r = scale / t;  sum = r * sum * r + 1.0;  scale = t
// and any other element adds (t / scale)^2.  Zeros add nothing; a NaN fails
// the comparison, takes the second branch and makes the sum NaN.  n < 1
// gives 0.0 and a single element its magnitude.
#pragma once

#include <cmath>
#include <cstdint>

namespace zefra {

inline double scaledEuclideanNorm(const double* v, int32_t n) {
  if (n < 1) {
    return 0.0;
  }
  if (n == 1) {
    return std::fabs(v[0]);
  }
  double scale = 2.2250738585072014e-308;
  double sum = 0.0;
  for (int32_t i = 0; i < n; ++i) {
    const double t = std::fabs(v[i]);
    if (t > scale) {
      const double r = scale / t;
      sum = r * sum * r + 1.0;
      scale = t;
    } else {
      const double r = t / scale;
      sum = sum + r * r;
    }
  }
  return scale * std::sqrt(sum);
}

}  // namespace zefra
