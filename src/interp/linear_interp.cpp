// Piecewise-linear interpolation of real samples, and of complex samples at
// real abscissas (the real and imaginary parts take the same weights).
//
// After the NaN scan (any NaN abscissa leaves every result at 0) and the
// reversal of a descending table, each query q takes, in this order:
//   NaN q                        0 (the not-a-number marker holds 0.0)
//   q > x(n)                     0, or extrapolating with two values or more
//                                (q - x(n)) / (x(n) - x(n-1)) * (y(n) - y(n-1)) + y(n)
//   q < x(1)                     0, or extrapolating
//                                (q - x(1)) / (x(2) - x(1)) * (y(2) - y(1)) + y(1)
//   otherwise                    r = (q - x(lo)) / (x(lo+1) - x(lo)),
//                                ((1 - r) * y(lo)) + (r * y(lo+1)),
//                                or y(lo) itself on a flat segment.
// The complex kernel without extrapolation trusts its table as given (no
// NaN scan, no reversal) and evaluates only x(1) <= q <= x(n).
#include <cmath>

#include "interp/bracket.h"
#include "interp/interpolation.h"
#include "interp/sample_table.h"

namespace zefra {
namespace {

template <typename Value, bool kChecked>
void interpolateLinear(const DynArray* x, const DynArray* y, const DynArray* xi, DynArray* yi,
                       bool extrapolate) {
  const std::optional<SampleTable<Value>> t = prepareTable<Value>(x, y, xi, yi, 1, kChecked);
  if (!t) {
    return;
  }
  const int32_t ni = xi->size[0];
  const int32_t n = t->n;
  const double* xs = t->x.data();
  const Value* ys = t->y.data();
  const double* queries = elementsOf<double>(xi);
  Value* out = elementsOf<Value>(yi);
  BracketCursor cursor(xs, n);
  const bool extendRight = extrapolate && t->ny >= 2 && n >= 2;
  for (int32_t j = 0; j < ni; ++j) {
    const double q = queries[j];
    Value v{};
    if constexpr (!kChecked) {
      if (q >= xs[0] && xs[n - 1] >= q) {
        v = interior(xs, ys, cursor.find(q), q);
      }
    } else if (std::isnan(q)) {
      // 0
    } else if (q > xs[n - 1]) {
      if (extendRight) {
        v = extend(ys[n - 2], ys[n - 1], (q - xs[n - 1]) / (xs[n - 1] - xs[n - 2]), ys[n - 1]);
      }
    } else if (xs[0] > q) {
      if (extrapolate) {
        v = extend(ys[0], ys[1], (q - xs[0]) / (xs[1] - xs[0]), ys[0]);
      }
    } else {
      v = interior(xs, ys, cursor.find(q), q);
    }
    out[j] = v;
  }
}

// A kernel of the interpolation interface.  The flag stays a run-time
// argument of the loop: compiled in as a constant, interp1q_Linear measured
// 8% slower (bench/compare.py).
template <typename Value, bool kChecked, bool kExtrapolate>
void linearKernel(const DynArray* x, const DynArray* y, const DynArray* xi, DynArray* yi) {
  interpolateLinear<Value, kChecked>(x, y, xi, yi, kExtrapolate);
}

}  // namespace

const InterpolationKernel interpLinearZeroOutside = linearKernel<double, true, false>;
const InterpolationKernel interpLinearExtrapolate = linearKernel<double, true, true>;
const InterpolationKernel interpLinearExtrapolateComplex = linearKernel<Complex, true, true>;
const InterpolationKernel interpLinearNanOutsideComplex = linearKernel<Complex, false, false>;

}  // namespace zefra
