// The private sample table every interpolation kernel works on.
#pragma once

#include <algorithm>
#include <cmath>
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

  bool hasNaNAbscissa() const {
    return std::any_of(x.begin(), x.begin() + n, [](double v) { return std::isnan(v); });
  }

  // A descending table (x(1) > x(2)) is reversed in place: x over its n
  // entries, y over its own length.
  void orderAscending() {
    if (x[0] > x[1]) {
      std::reverse(x.begin(), x.begin() + n);
      std::reverse(y.begin(), y.begin() + ny);
    }
  }

  int32_t n;
  int32_t ny;
  std::vector<double> x;
  std::vector<Value> y;
};

// Reshapes the result to `count` elements in its first extent (the second
// extent is kept).  The kernels then write every element exactly once,
// with the fill value wherever no rule assigns one.
template <typename Value>
Value* shapeResult(DynArray* result, int32_t count) {
  const int32_t before = numel(result);
  result->size[0] = count;
  ensureCapacity(result, before, static_cast<int32_t>(sizeof(Value)));
  return elementsOf<Value>(result);
}

template <typename Value>
void fillResult(Value* values, int32_t count, Value fill) {
  for (int32_t j = 0; j < count; ++j) {
    values[j] = fill;
  }
}

}  // namespace zefra
