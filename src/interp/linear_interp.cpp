// Piecewise-linear interpolation of real samples.
//
// After the NaN scan (any NaN abscissa leaves every result at 0.0) and the
// reversal of a descending table, each query q takes:
//   NaN q                        0.0 (the not-a-number marker holds 0.0)
//   outside [x(1), x(n)]         0.0, or the end segment extended:
//     q > x(n):  (q - x(n)) / (x(n) - x(n-1)) * (y(n) - y(n-1)) + y(n)
//     q < x(1):  (q - x(1)) / (x(2) - x(1)) * (y(2) - y(1)) + y(1)
//   inside                       r = (q - x(lo)) / (x(lo+1) - x(lo)),
//                                ((1 - r) * y(lo)) + (r * y(lo+1)),
//                                or y(lo) itself on a flat segment.
#include <cmath>

#include "frame/constants.h"
#include "interp/bracket.h"
#include "interp/interpolation.h"
#include "interp/sample_table.h"

namespace zefra {
namespace {

double interior(const double* x, const double* y, int32_t lo, double q) {
  const double r = (q - x[lo]) / (x[lo + 1] - x[lo]);
  const double a = y[lo];
  const double b = y[lo + 1];
  return a == b ? a : (1.0 - r) * a + r * b;
}

void interpolateLinear(const DynArray* x, const DynArray* y, const DynArray* xi, DynArray* yi,
                       bool extrapolate) {
  const int32_t ni = xi->size[0];
  double* out = shapeResult<double>(yi, ni);
  if (ni <= 0) {
    return;
  }
  if (x->size[0] < 1) {
    fillResult(out, ni, 0.0);  // no table
    return;
  }
  SampleTable<double> t(x, y);
  if (t.hasNaNAbscissa()) {
    fillResult(out, ni, 0.0);
    return;
  }
  t.orderAscending();
  const int32_t n = t.n;
  const double* xs = t.x.data();
  const double* ys = t.y.data();
  const double* queries = elementsOf<double>(xi);
  BracketCursor cursor(xs, n);
  const bool extendRight = extrapolate && t.ny - 1 > 0 && n >= 2;
  for (int32_t j = 0; j < ni; ++j) {
    const double q = queries[j];
    double v = 0.0;
    if (std::isnan(q)) {
      v = kNaN;
    } else if (q > xs[n - 1]) {
      if (extendRight) {
        v = (q - xs[n - 1]) / (xs[n - 1] - xs[n - 2]) * (ys[n - 1] - ys[n - 2]) + ys[n - 1];
      }
    } else if (xs[0] > q) {
      if (extrapolate) {
        v = (q - xs[0]) / (xs[1] - xs[0]) * (ys[1] - ys[0]) + ys[0];
      }
    } else {
      v = interior(xs, ys, cursor.find(q), q);
    }
    out[j] = v;
  }
}

}  // namespace

void interpLinearZeroOutside(const DynArray* x, const DynArray* y, const DynArray* xi,
                             DynArray* yi) {
  interpolateLinear(x, y, xi, yi, false);
}

void interpLinearExtrapolate(const DynArray* x, const DynArray* y, const DynArray* xi,
                             DynArray* yi) {
  interpolateLinear(x, y, xi, yi, true);
}

}  // namespace zefra
