// Floored remainder of each element by a fixed divisor m.
//   m = 0:            y = x
//   m an integer:     y = x - floor(x / m) * m   (no tolerance)
//   any other m:      the snapped remainder of remainder.h
// The two paths are deliberately different: only the non-integer one
// absorbs the rounding of x / m (0.3 mod 0.1 is 0.0 there, not 0.1).
#include <cmath>

#include "numeric/remainder.h"
#include "numeric/vector_kernels.h"

namespace zefra {

void modKernel(const DynArray* x, double m, DynArray* y) {
  const int32_t n = x->size[0];
  reshapeGeneric<double>(y, n, y->size[1]);
  double* out = elementsOf<double>(y);
  const double* in = elementsOf<double>(x);
  const bool integerDivisor = m == std::floor(m);
  for (int32_t i = 0; i < n; ++i) {
    const double v = in[i];
    if (m == 0.0) {
      out[i] = v;
    } else if (integerDivisor) {
      out[i] = v - std::floor(v / m) * m;
    } else {
      out[i] = snappedRemainder(v, m);
    }
  }
}

}  // namespace zefra
