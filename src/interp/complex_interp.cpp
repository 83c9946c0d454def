// Piecewise-linear interpolation of complex samples at real abscissas: the
// real and imaginary parts take the same weights.  Equal neighbours (both
// parts equal) return the stored value whole.
#include <cmath>

#include "frame/constants.h"
#include "interp/bracket.h"
#include "interp/interpolation.h"
#include "interp/sample_table.h"

namespace zefra {
namespace {

Complex interiorComplex(const double* x, const Complex* y, int32_t lo, double q) {
  const double r = (q - x[lo]) / (x[lo + 1] - x[lo]);
  const Complex a = y[lo];
  const Complex b = y[lo + 1];
  if (a.re == b.re && a.im == b.im) {
    return a;
  }
  return {(1.0 - r) * a.re + r * b.re, (1.0 - r) * a.im + r * b.im};
}

}  // namespace

// As the real extrapolating kernel; the end segments extend as
//   re = (y(n).re - y(n-1).re) * s + y(n).re,  im = s * (y(n).im - y(n-1).im) + y(n).im
// with s = (q - x(n)) / (x(n) - x(n-1)) (and likewise at the left end).
void interpLinearExtrapolateComplex(const DynArray* x, const DynArray* y, const DynArray* xi,
                                    DynArray* yi) {
  const int32_t ni = xi->size[0];
  Complex* out = shapeResult<Complex>(yi, ni);
  if (ni <= 0) {
    return;
  }
  if (x->size[0] < 1) {
    fillResult(out, ni, Complex{0.0, 0.0});
    return;
  }
  SampleTable<Complex> t(x, y);
  if (t.hasNaNAbscissa()) {
    fillResult(out, ni, Complex{0.0, 0.0});
    return;
  }
  t.orderAscending();
  const int32_t n = t.n;
  const double* queries = elementsOf<double>(xi);
  const double* xs = t.x.data();
  const Complex* ys = t.y.data();
  BracketCursor cursor(xs, n);
  for (int32_t j = 0; j < ni; ++j) {
    const double q = queries[j];
    Complex v = {0.0, 0.0};
    if (std::isnan(q)) {
      v = {kNaN, 0.0};
    } else if (q > xs[n - 1]) {
      if (t.ny >= 2 && n >= 2) {
        const double s = (q - xs[n - 1]) / (xs[n - 1] - xs[n - 2]);
        v = {(ys[n - 1].re - ys[n - 2].re) * s + ys[n - 1].re,
             s * (ys[n - 1].im - ys[n - 2].im) + ys[n - 1].im};
      }
    } else if (xs[0] > q) {
      const double s = (q - xs[0]) / (xs[1] - xs[0]);
      v = {(ys[1].re - ys[0].re) * s + ys[0].re, s * (ys[1].im - ys[0].im) + ys[0].im};
    } else {
      v = interiorComplex(xs, ys, cursor.find(q), q);
    }
    out[j] = v;
  }
}

// No NaN scan, no reversal: ascending x is trusted.  Every slot starts as
// the fill (not-a-number marker, 0.0) + 0j and only queries with
// x(1) <= q <= x(n) are evaluated, so a NaN query keeps the fill.
void interpLinearNanOutsideComplex(const DynArray* x, const DynArray* y, const DynArray* xi,
                                   DynArray* yi) {
  const int32_t ni = xi->size[0];
  Complex* out = shapeResult<Complex>(yi, ni);
  if (ni <= 0) {
    return;
  }
  if (x->size[0] < 1) {
    fillResult(out, ni, Complex{kNaN, 0.0});
    return;
  }
  const SampleTable<Complex> t(x, y);
  const int32_t n = t.n;
  const double* queries = elementsOf<double>(xi);
  const double* xs = t.x.data();
  BracketCursor cursor(xs, n);
  for (int32_t j = 0; j < ni; ++j) {
    const double q = queries[j];
    out[j] = q >= xs[0] && xs[n - 1] >= q ? interiorComplex(xs, t.y.data(), cursor.find(q), q)
                                          : Complex{kNaN, 0.0};
  }
}

}  // namespace zefra
