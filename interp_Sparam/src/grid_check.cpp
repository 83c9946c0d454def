// One pass over the grid.  The comparison is written as !(f[i] > f[i-1])
// so that a NaN anywhere fails it (every comparison with NaN is false);
// with the two end points finite and the grid ascending, every interior
// point is finite too.
#include "grid_check.h"

#include <cmath>

namespace zefra::interp_sparam {

bool isUsableGrid(const double* f, std::size_t n) {
  if (n == 0) {
    return false;
  }
  if (!std::isfinite(f[0]) || !std::isfinite(f[n - 1])) {
    return false;
  }
  for (std::size_t i = 1; i < n; ++i) {
    if (!(f[i] > f[i - 1])) {
      return false;
    }
  }
  return std::isfinite(f[n - 1] - f[0]);
}

}  // namespace zefra::interp_sparam
