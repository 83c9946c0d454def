// Sample standard deviation, two passes, each summed left to right:
//   mean = (x[0] + ... + x[n-1]) / n
//   ss   = (x[0] - mean)^2 + ... + (x[n-1] - mean)^2
//   std  = sqrt(ss / (n - 1)), or sqrt(ss / n) = 0.0 when n is 1.
// The summation order is part of the result; no compensation, no NaN
// screening (one NaN makes the result NaN).
#include <cmath>

#include "numeric/reductions.h"

namespace zefra {

double stdKernel(const DynArray* x) {
  const int32_t n = x->size[0];
  if (n <= 0) {
    return 0.0;
  }
  const double* values = elementsOf<double>(x);
  double sum = 0.0;
  for (int32_t i = 0; i < n; ++i) {
    sum += values[i];
  }
  const double mean = sum / static_cast<double>(n);
  double ss = 0.0;
  for (int32_t i = 0; i < n; ++i) {
    const double d = values[i] - mean;
    ss += d * d;
  }
  const int32_t divisor = n > 1 ? n - 1 : n;
  return std::sqrt(ss / static_cast<double>(divisor));
}

}  // namespace zefra
