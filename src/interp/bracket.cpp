#include "interp/bracket.h"

#include <cmath>

namespace zefra {
namespace {

constexpr int32_t kLongestWalk = 8;

int32_t bracketIndex(const double* x, int32_t n, double q) {
  int32_t lo = 1;
  int32_t hi = n;
  int32_t next = 2;
  while (hi > next) {  // never for n <= 2
    const int32_t mid = (lo >> 1) + (hi >> 1) + (((lo & 1) == 1 && (hi & 1) == 1) ? 1 : 0);
    if (q >= x[mid - 1]) {
      lo = mid;
      next = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo - 1;
}

}  // namespace

BracketCursor::BracketCursor(const double* x, int32_t n) : x_(x), n_(n), ordered_(n > 2) {
  for (int32_t i = 0; ordered_ && i + 1 < n; ++i) {
    ordered_ = x[i] <= x[i + 1];  // false for any NaN
  }
}

int32_t BracketCursor::findSlow(double q) {
  if (!ordered_ || std::isnan(q) || q < x_[lo_]) {
    if (n_ > 2 && ordered_ && !std::isnan(q) && lo_ == 0) {
      return 0;  // below the whole table
    }
    lo_ = bracketIndex(x_, n_, q);
    return lo_;
  }
  const int32_t last = n_ - 2;
  for (int32_t step = 0; lo_ < last && x_[lo_ + 1] <= q; ++step) {
    if (step == kLongestWalk) {
      lo_ = bracketIndex(x_, n_, q);
      return lo_;
    }
    ++lo_;
  }
  return lo_;
}

}  // namespace zefra
