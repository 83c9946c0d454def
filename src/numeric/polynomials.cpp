// Polynomials, coefficients from the highest power down.
//   polyFromRoots: c = [1], then for each root r_k:
//     c[k+1] = -c[k] r_k;  c[j] = c[j] - c[j-1] r_k for j = k .. 1
//   polyvalComplex: Horner, w = p[0]; w = w z + p[k] with the complex
//     product (wr zr - wi zi, wr zi + wi zr) and p[k] added to the real part.
#include <cstdint>

#include "numeric/vector_kernels.h"

namespace zefra {

void polyFromRoots(const DynArray* r, DynArray* c) {
  const int32_t n = r->size[0];
  if (n == INT32_MAX) {
    return;  // n + 1 coefficients do not fit a record
  }
  reshapeGeneric<double>(c, 1, n + 1);
  double* coefficients = elementsOf<double>(c);
  if (n < 0) {
    return;  // no coefficient to write
  }
  const double* roots = elementsOf<double>(r);
  coefficients[0] = 1.0;
  for (int32_t k = 0; k < n; ++k) {
    coefficients[k + 1] = -coefficients[k] * roots[k];
    for (int32_t j = k; j >= 1; --j) {
      coefficients[j] = coefficients[j] - coefficients[j - 1] * roots[k];
    }
  }
}

void polyvalComplex(const DynArray* p, const DynArray* z, DynArray* w) {
  const int32_t np = p->size[0];
  const int32_t nz = z->size[0];
  ensureCapacityComplex(w, numel(w));
  if (np <= 0 || nz <= 0) {
    return;
  }
  const double* coefficients = elementsOf<double>(p);
  const Complex* points = elementsOf<Complex>(z);
  Complex* values = elementsOf<Complex>(w);
  // Each point's Horner recurrence is independent; running them point by
  // point keeps the point in registers and gives the same values.
  for (int32_t i = 0; i < nz; ++i) {
    const Complex zi = points[i];
    double wr = coefficients[0];
    double wi = 0.0;
    for (int32_t k = 1; k < np; ++k) {
      const double re = wr * zi.re - wi * zi.im + coefficients[k];
      const double im = wr * zi.im + wi * zi.re;
      wr = re;
      wi = im;
    }
    values[i] = {wr, wi};
  }
}

}  // namespace zefra
