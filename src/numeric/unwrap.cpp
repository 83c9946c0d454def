// Phase unwrapping.  Walking from the first valid sample, each difference
// d = v - prev of consecutive valid samples is reduced to [-pi, pi):
//   e = ((d + pi) mod 2 pi) - pi   (the snapped remainder of remainder.h)
//   e = pi instead of -pi when d > 0
// and when |d| >= pi the running correction grows by e - d.  A sample is
// valid when it is neither NaN nor equal to the infinity markers, which
// hold 0.0: exact zeros are skipped like NaN and passed through unchanged.
// The last sample is never a starting point.
#include <algorithm>
#include <cmath>

#include "frame/constants.h"
#include "numeric/remainder.h"
#include "numeric/vector_kernels.h"

namespace zefra {
namespace {

bool isValidPhase(double v) { return !std::isnan(v) && v != 0.0; }  // 0.0: the infinity markers

}  // namespace

void unwrapKernel(const DynArray* x, DynArray* y) {
  const int32_t n = x->size[0];
  reshapeGeneric<double>(y, n, y->size[1]);
  double* out = elementsOf<double>(y);
  if (n <= 0) {
    return;
  }
  const double* in = elementsOf<double>(x);
  std::copy(in, in + n, out);
  int32_t first = -1;
  for (int32_t i = 0; i + 1 < n; ++i) {
    if (isValidPhase(in[i])) {
      first = i;
      break;
    }
  }
  if (first < 0) {
    return;
  }
  const double pi = kPi;  // a register copy: the stores to out[] could alias the global
  double prev = in[first];
  double correction = 0.0;
  for (int32_t j = first + 1; j < n; ++j) {
    const double v = in[j];
    if (!isValidPhase(v)) {
      continue;
    }
    const double d = v - prev;
    // The reduced difference e only enters the correction when |d| >= pi;
    // for smaller steps (the usual case) it is not needed at all.
    if (std::fabs(d) >= pi) {
      double e = snappedRemainder(d + pi, kTwoPi) - pi;
      if (e == -pi && d > 0.0) {
        e = pi;
      }
      correction = correction + (e - d);
    }
    prev = v;
    out[j] = v + correction;
  }
}

}  // namespace zefra
