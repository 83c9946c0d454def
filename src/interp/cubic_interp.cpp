// Shape-preserving piecewise cubic Hermite interpolation.
//
// On interval k the cubic in s = q - x(k) is ((c1 s + c2) s + c3) s + c4,
// matching y(k), y(k+1) and the slopes d(k), d(k+1).  Interior slopes are a
// weighted harmonic mean of the neighbouring secants delta, and 0 where the
// secants change sign or one is zero, so the interpolant is monotone where
// the data are and flat at local extrema; the end slopes come from a
// one-sided three-point formula limited in the same spirit.  Queries
// outside the table use the first or last cubic.
#include <cmath>
#include <vector>

#include "frame/constants.h"
#include "interp/bracket.h"
#include "interp/interpolation.h"
#include "interp/sample_table.h"

namespace zefra {
namespace {

double signOf(double v) { return v < 0.0 ? -1.0 : (v > 0.0 ? 1.0 : v); }

// One-sided slope at an end: delta1, h1 belong to the end interval,
// delta2, h2 to its neighbour.  0 when its sign disagrees with delta1 (or
// anything is NaN); limited to 3 delta1 where the secants change sign.
double endSlope(double delta1, double delta2, double h1, double h2) {
  const double d = ((h1 + h1 + h2) * delta1 - delta2 * h1) / (h1 + h2);
  if (signOf(d) != signOf(delta1)) {
    return 0.0;
  }
  if (signOf(delta1) == signOf(delta2)) {
    return d;
  }
  return std::fabs(d) > std::fabs(3.0 * delta1) ? 3.0 * delta1 : d;
}

// Coefficients of the n - 1 cubics, four per interval, in the order
// c1 (s^3), c2 (s^2), c3 (s), c4 (constant).
std::vector<double> buildHermitePieces(const double* x, const double* y, int32_t n) {
  const auto intervals = static_cast<size_t>(n - 1);
  std::vector<double> h(intervals);
  std::vector<double> delta(intervals);
  for (size_t k = 0; k < intervals; ++k) {
    h[k] = x[k + 1] - x[k];
    delta[k] = (y[k + 1] - y[k]) / h[k];
  }
  std::vector<double> d(static_cast<size_t>(n));
  if (n == 2) {
    d[0] = delta[0];
    d[1] = delta[0];
  } else {
    for (size_t k = 1; k + 1 < static_cast<size_t>(n); ++k) {
      const double hp = h[k - 1];
      const double hn = h[k];
      const double dp = delta[k - 1];
      const double dn = delta[k];
      const double w1 = (hp + (hn + hp)) / ((hn + hp) * 3.0);
      const double w2 = (hn + (hn + hp)) / ((hn + hp) * 3.0);
      // Secants of one strict sign (NaN has none): the formula led by the
      // smaller of the two in magnitude (dp on a tie).
      const bool sameSign = (dp < 0.0 && dn < 0.0) || (dp > 0.0 && dn > 0.0);
      d[k] = !sameSign                        ? 0.0
             : std::fabs(dn) >= std::fabs(dp) ? dp / (dp / dn * w1 + w2)
                                              : dn / (dn / dp * w2 + w1);
    }
    d[0] = endSlope(delta[0], delta[1], h[0], h[1]);
    d[intervals] =
        endSlope(delta[intervals - 1], delta[intervals - 2], h[intervals - 1], h[intervals - 2]);
  }
  std::vector<double> pieces(intervals * 4);
  for (size_t k = 0; k < intervals; ++k) {
    const double a = (d[k + 1] - delta[k]) / h[k];
    const double b = (delta[k] - d[k]) / h[k];
    pieces[4 * k] = (a - b) / h[k];
    pieces[4 * k + 1] = b + b - a;
    pieces[4 * k + 2] = d[k];
    pieces[4 * k + 3] = y[k];
  }
  return pieces;
}

}  // namespace

void interpCubicHermite(const DynArray* x, const DynArray* y, const DynArray* xi, DynArray* yi) {
  // A cubic needs two samples.
  const std::optional<SampleTable<double>> t = prepareTable<double>(x, y, xi, yi, 2, true);
  if (!t) {
    return;
  }
  const int32_t ni = xi->size[0];
  const std::vector<double> pieces = buildHermitePieces(t->x.data(), t->y.data(), t->n);
  const double* queries = elementsOf<double>(xi);
  double* out = elementsOf<double>(yi);
  BracketCursor cursor(t->x.data(), t->n);
  for (int32_t j = 0; j < ni; ++j) {
    const double q = queries[j];
    if (std::isnan(q)) {
      out[j] = kNaN;
      continue;
    }
    const int32_t lo = cursor.find(q);
    const double s = q - t->x[static_cast<size_t>(lo)];
    const double* c = &pieces[4 * static_cast<size_t>(lo)];
    out[j] = ((c[0] * s + c[1]) * s + c[2]) * s + c[3];
  }
}

}  // namespace zefra
