// Kronecker product of two vectors: y[i nb + j] = b[j] * a[i].
#include <cstdint>

#include "numeric/vector_kernels.h"

namespace zefra {

void kronKernel(const DynArray* a, const DynArray* b, DynArray* y) {
  const int32_t na = a->size[0];
  const int32_t nb = b->size[0];
  // Negative counts, and a product beyond the largest extent, leave the
  // output empty rather than wrapping to a size the caller never provided.
  const int64_t count = na > 0 && nb > 0 ? int64_t{na} * nb : 0;
  const int32_t length = count <= INT32_MAX ? static_cast<int32_t>(count) : 0;
  reshapeGeneric<double>(y, length, y->size[1]);
  double* out = elementsOf<double>(y);
  if (length == 0) {
    return;
  }
  const double* av = elementsOf<double>(a);
  const double* bv = elementsOf<double>(b);
  for (int32_t i = 0; i < na; ++i) {
    double* row = out + static_cast<int64_t>(i) * nb;
    for (int32_t j = 0; j < nb; ++j) {
      row[j] = bv[j] * av[i];
    }
  }
}

}  // namespace zefra
