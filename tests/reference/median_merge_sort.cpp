#include "reference/median_merge_sort.h"

#include <cmath>

namespace zefra::reference {
namespace {

// True when the value at position `right` must be taken before the value at
// position `left`: strictly smaller, or a number against a NaN.
bool takesRight(const std::vector<double>& x, int32_t left, int32_t right) {
  const double l = x[static_cast<size_t>(left - 1)];
  const double r = x[static_cast<size_t>(right - 1)];
  return r < l || (std::isnan(l) && !std::isnan(r));
}

}  // namespace

std::vector<int32_t> stableNanLastOrder(const std::vector<double>& x) {
  const auto n = static_cast<int32_t>(x.size());
  std::vector<int32_t> order(x.size());
  for (int32_t i = 0; i < n; ++i) {
    order[static_cast<size_t>(i)] = i + 1;
  }
  // First pass: sort each pair in place.
  for (int32_t i = 0; i + 1 < n; i += 2) {
    if (takesRight(x, order[static_cast<size_t>(i)], order[static_cast<size_t>(i + 1)])) {
      std::swap(order[static_cast<size_t>(i)], order[static_cast<size_t>(i + 1)]);
    }
  }
  // Merge neighbouring runs of width 2, 4, 8, ... through a work vector.
  std::vector<int32_t> work(x.size());
  for (int32_t width = 2; width < n; width *= 2) {
    for (int32_t start = 0; start < n; start += 2 * width) {
      const int32_t mid = std::min(start + width, n);
      const int32_t end = std::min(start + 2 * width, n);
      int32_t p = start;
      int32_t q = mid;
      int32_t k = start;
      while (p < mid && q < end) {
        if (takesRight(x, order[static_cast<size_t>(p)], order[static_cast<size_t>(q)])) {
          work[static_cast<size_t>(k++)] = order[static_cast<size_t>(q++)];
        } else {
          work[static_cast<size_t>(k++)] = order[static_cast<size_t>(p++)];
        }
      }
      while (p < mid) {
        work[static_cast<size_t>(k++)] = order[static_cast<size_t>(p++)];
      }
      while (q < end) {
        work[static_cast<size_t>(k++)] = order[static_cast<size_t>(q++)];
      }
      for (int32_t i = start; i < end; ++i) {
        order[static_cast<size_t>(i)] = work[static_cast<size_t>(i)];
      }
    }
  }
  return order;
}

double medianByMergeSort(const std::vector<double>& x) {
  const auto n = static_cast<int32_t>(x.size());
  if (n == 0) {
    return 0.0;  // the not-a-number marker, which holds 0.0
  }
  const std::vector<int32_t> order = stableNanLastOrder(x);
  auto sorted = [&](int32_t k) {
    return x[static_cast<size_t>(order[static_cast<size_t>(k)] - 1)];
  };
  if (std::isnan(sorted(n - 1))) {
    return sorted(n - 1);
  }
  const int32_t m = n / 2;
  if (n % 2 == 1) {
    return sorted(m);
  }
  const double a = sorted(m - 1);
  const double b = sorted(m);
  if (a < 0.0 && b >= 0.0) {
    return (a + b) * 0.5;
  }
  // The infinity markers hold 0.0.
  if (a == 0.0 || b == 0.0) {
    return (a + b) * 0.5;
  }
  return a + (b - a) * 0.5;
}

}  // namespace zefra::reference
