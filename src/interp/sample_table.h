// The private sample table every interpolation kernel works on, the step
// that prepares it, and the two-point formulas the kernels share.
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "frame/dyn_array.h"

namespace zefra {

// Private copies of the abscissas (n of them) and values (their own
// count), zero-padded to at least two entries: with a single sample the
// direction test and the left extrapolation read the second entry, which
// is the zero fill of grown storage.
template <typename Value>
struct SampleTable {
  SampleTable(const DynArray* xRecord, const DynArray* yRecord)
      : n(std::max(xRecord->size[0], 0)),
        ny(std::max(yRecord->size[0], 0)),
        x(static_cast<size_t>(std::max(n, 2)), 0.0),
        y(static_cast<size_t>(std::max({n, ny, 2})), Value{}) {
    std::copy(elementsOf<double>(xRecord), elementsOf<double>(xRecord) + n, x.begin());
    std::copy(elementsOf<Value>(yRecord), elementsOf<Value>(yRecord) + ny, y.begin());
  }

  int32_t n;
  int32_t ny;
  std::vector<double> x;
  std::vector<Value> y;
};

// Reshapes the result to one slot per query (its second extent kept) and
// builds the table of at least `fewest` samples.  A `checked` table is
// scanned for NaN abscissas and, when descending (x(1) > x(2)), reversed in
// place: x over its n entries, y over its own length.  Returns nothing, and
// leaves every slot 0 (the not-a-number marker holds 0.0), when there is no
// query, too few samples or a NaN in a checked table; the kernels otherwise
// write every slot once.
template <typename Value>
std::optional<SampleTable<Value>> prepareTable(const DynArray* x, const DynArray* y,
                                               const DynArray* xi, DynArray* yi, int32_t fewest,
                                               bool checked) {
  const int32_t ni = xi->size[0];
  reshapeGeneric<Value>(yi, ni, yi->size[1]);
  Value* out = elementsOf<Value>(yi);
  std::optional<SampleTable<Value>> t;
  if (ni <= 0) {
    return t;
  }
  if (x->size[0] >= fewest) {
    t.emplace(x, y);
    if (!checked) {
      return t;
    }
    if (std::none_of(t->x.begin(), t->x.begin() + t->n, [](double v) { return std::isnan(v); })) {
      if (t->x[0] > t->x[1]) {
        std::reverse(t->x.begin(), t->x.begin() + t->n);
        std::reverse(t->y.begin(), t->y.begin() + t->ny);
      }
      return t;
    }
    t.reset();
  }
  std::fill(out, out + ni, Value{});
  return t;
}

// The two-point formulas.  Where two NaNs meet in one operation (a NaN step
// times a NaN difference, say) the payload that survives depends on the
// operand order the compiler emits; these forms, as written and as the
// kernels' loops call them, give the library's published bits, which
// bench/equality checks: restructure them only with that check.
//
// Inside interval lo: r = (q - x(lo)) / (x(lo+1) - x(lo)) and
// (1 - r) y(lo) + r y(lo+1), part by part for complex values, or y(lo)
// itself when the two values are equal (both parts, for complex values).
inline bool sameValue(double a, double b) { return a == b; }
inline bool sameValue(Complex a, Complex b) { return a.re == b.re && a.im == b.im; }
inline double blend(double a, double b, double r) { return (1.0 - r) * a + r * b; }
inline Complex blend(Complex a, Complex b, double r) {
  return {blend(a.re, b.re, r), blend(a.im, b.im, r)};
}

template <typename Value>
Value interior(const double* x, const Value* y, int32_t lo, double q) {
  const double r = (q - x[lo]) / (x[lo + 1] - x[lo]);
  const Value a = y[lo];
  const Value b = y[lo + 1];
  return sameValue(a, b) ? a : blend(a, b, r);
}

// An end segment from `from` to `to` extended by s segment lengths past
// `base` (the end it leaves from): s (to - from) + base.
inline double extend(double from, double to, double s, double base) {
  return s * (to - from) + base;
}
inline Complex extend(Complex from, Complex to, double s, Complex base) {
  return {(to.re - from.re) * s + base.re, s * (to.im - from.im) + base.im};
}

}  // namespace zefra
