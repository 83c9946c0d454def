// Bracketing search over sample abscissas.
#pragma once

#include <cstdint>

namespace zefra {

// The zero-based lower index of the interval bracketing q, for a run of
// queries.  The library's bisection defines it: lo = 1, hi = n, and while
// hi > lo + 1 the overflow-free midpoint (lo >> 1) + (hi >> 1) (+1 when
// both are odd) replaces lo when q >= x(mid), hi otherwise (skipped for
// n <= 2); the result is lo - 1.  On a non-decreasing table that is the
// largest i <= n - 2 with x[i] <= q (0 when there is none), which a walk
// from the previous bracket finds directly: linear time for sorted
// queries.  A query behind the previous bracket, a long jump, or a table
// that is not non-decreasing (NaN included) uses the bisection itself.
class BracketCursor {
 public:
  BracketCursor(const double* x, int32_t n);

  int32_t find(double q) {
    // Common case of sorted queries: the bracket stays.  Marked likely so
    // that it stays the fall-through path of the callers' query loops (laid
    // out as a jump away and back, it cost interp_Linear_Extrap_Complex 5%).
    // (ordered_ implies n >= 3, so x_[lo_ + 1] exists.)
    if (ordered_ && q >= x_[lo_] && (q < x_[lo_ + 1] || lo_ == n_ - 2)) [[likely]] {
      return lo_;
    }
    return findSlow(q);
  }

 private:
  int32_t findSlow(double q);

  const double* x_;
  int32_t n_;
  bool ordered_;
  int32_t lo_ = 0;
};

}  // namespace zefra
