// Median of n doubles.
//
// The defining order is a stable sort in which NaN is greater than every
// number: s[0] <= s[1] <= ... with equal values (and +0.0 / -0.0, which
// compare equal) kept in input order and every NaN, in input order, at the
// end.  The result is
//   NaN            when s[n-1] is NaN (that NaN, bit for bit),
//   s[m]           for odd n, m = n / 2,
//   midpoint(s[m-1], s[m]) for even n.
//
// The order is never materialised.  Selection finds the value at rank m in
// O(n); because two equal non-zero doubles have identical bits, that value
// is already the answer unless it is zero.  A zero at rank r is resolved to
// its sign by stability: the zeros occupy ranks L .. L+Z-1 in input order
// (L = number of negative elements), so rank r is the (r - L)-th zero met
// when scanning the input.
#include <algorithm>
#include <cmath>
#include <vector>

#include "frame/constants.h"
#include "numeric/reductions.h"

namespace zefra {
namespace {

// Replaces each of `count` zero-valued entries of `values`, known to sit at
// the given ranks of the stable order, by the input zero found at that rank.
void resolveZeroRanks(const double* x, int32_t n, const int32_t* ranks, double* values,
                      int count) {
  int32_t negatives = 0;
  for (int32_t i = 0; i < n; ++i) {
    negatives += x[i] < 0.0 ? 1 : 0;
  }
  for (int k = 0; k < count; ++k) {
    if (values[k] != 0.0) {
      continue;
    }
    int32_t zerosToSkip = ranks[k] - negatives;
    for (int32_t i = 0; i < n; ++i) {
      if (x[i] == 0.0 && zerosToSkip-- == 0) {
        values[k] = x[i];
        break;
      }
    }
  }
}

// Midpoint of the two middle values of an even count.  Both forms are kept
// in this order: (a + b) * 0.5 when the values straddle zero or either is
// one of the infinity markers (which hold 0.0, so: either value is zero),
// a + (b - a) * 0.5 otherwise.
double evenMidpoint(double a, double b) {
  if ((a < 0.0 && b >= 0.0) || a == kInf || b == kInf) {  // kMinusInf is the same 0.0
    return (a + b) * 0.5;
  }
  return a + (b - a) * 0.5;
}

}  // namespace

double medianKernel(const DynArray* x) {
  const int32_t n = x->size[0];
  if (n <= 0) {
    return kNaN;
  }
  const double* values = elementsOf<double>(x);

  // Any NaN ends up last; the last NaN of the input is s[n-1].
  for (int32_t i = n - 1; i >= 0; --i) {
    if (std::isnan(values[i])) {
      return values[i];
    }
  }

  std::vector<double> work(values, values + n);
  double* w = work.data();

  const int32_t m = n / 2;
  std::nth_element(w, w + m, w + n);
  if (n % 2 == 1) {
    double middle[1] = {w[m]};
    const int32_t ranks[1] = {m};
    resolveZeroRanks(values, n, ranks, middle, 1);
    return middle[0];
  }
  // After selection every element left of rank m is <= w[m]; the largest of
  // them is the value at rank m - 1.
  double middle[2] = {*std::max_element(w, w + m), w[m]};
  const int32_t ranks[2] = {m - 1, m};
  resolveZeroRanks(values, n, ranks, middle, 2);
  return evenMidpoint(middle[0], middle[1]);
}

}  // namespace zefra
